#include <cmath>
#include <random>

#include "platform/Json.h"
#include "platform/PropertyList.h"
#include "support/Testing.h"

namespace trovix::platform {
namespace {

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }
Data dataOf(std::string_view text) { return {text.begin(), text.end()}; }

TEST(JsonTest, WritesBackWhatItRead) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"b":1,"a":[true,false,null],"":{}})", R"({"b":1,"a":[true,false,null],"":{}})"},
      {R"( [ "\u00e9\/\n\"\\\u0001\ud83d\ude00" ] )", "[\"é/\\n\\\"\\\\\\u0001😀\"]"},
      {R"({"a":1,"b":2,"a":3})", R"({"a":3,"b":2})"},
      {"[9223372036854775807,-9223372036854775808]", "[9223372036854775807,-9223372036854775808]"},
      {"[9223372036854775808,18446744073709551616]", "[9223372036854775808,18446744073709551616]"},
      {"[9.99,1e6,1e-7,5e-324,1.7976931348623157e308,1e-999]", "[9.99,1000000,1e-07,5e-324,1.7976931348623157e+308,0]"},
      // Reals that are off by one unit when read carelessly.
      {"[0.30000000000000004,7.2057594037927933e16,2.2250738585072011e-308]",
       "[0.30000000000000004,72057594037927936,2.225073858507201e-308]"},
      {"[123456789012345678901234567890.5]", "[1.2345678901234568e+29]"}};
  for (const auto& [text, written] : cases) {
    const auto value = parseJson(text);
    ASSERT_TRUE(value.ok()) << text << value.error().description();
    EXPECT_TRUE(isValidJsonObject(*value));
    EXPECT_EQ(*writeJson(*value), written) << text;
  }
}

TEST(JsonTest, RandomRealsSurvive) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 2000; ++i) {
    const double real = std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 1000) - 500);
    const std::string text = *writeJson(Value(Array{real}));
    EXPECT_EQ((*parseJson(text)->array())[0].doubleValue(), real) << text;
  }
}

TEST(JsonTest, RefusesWhatIsNotJson) {
  const std::string tooDeep = nested(maximumJsonDepth + 1), endless(100000, '[');
  for (const char* text :
       {"", "{", "[1,]", "[1]x", "{\"a\" 1}", "[01]", "[1e999]", "[NaN]", "[\"\xFF\"]", "['a']", "// a\n[]",
        "[\"\\ud800\"]", "{a:1}", "[tru]", "\xEF\xBB", "1", "\"text\"", tooDeep.c_str(), endless.c_str()}) {
    const auto value = parseJson(std::string_view(text));
    ASSERT_FALSE(value.ok()) << std::string_view(text).substr(0, 40);
    EXPECT_EQ(value.error().code(), jsonCorruptCode);
  }
  EXPECT_TRUE(parseJson(nested(maximumJsonDepth)).ok());
  EXPECT_EQ(*parseJson(" 12 ", true), Value(12)) << "a fragment, where it is allowed";
  EXPECT_EQ(*parseJson("null", true), Value(nullptr));
}

TEST(JsonTest, RefusesToWriteWhatItHasNoFormFor) {
  Value deep = Array();
  for (std::size_t i = 1; i < maximumJsonDepth; ++i) deep = Array{deep};
  EXPECT_TRUE(isValidJsonObject(deep));
  for (const Value& value : {Value(Date{1}), Value(Data{1}), Value(std::nan("")), Value(HUGE_VAL), deep}) {
    for (const Value& root : {Value(Dictionary{{"k", Array{value}}}), Value("text")}) {
      EXPECT_FALSE(isValidJsonObject(root));
      EXPECT_FALSE(writeJson(root).ok());
    }
  }
  EXPECT_EQ(*writeJson(Dictionary{{"\xC3", "a\xED\xA0\x80"}}), "{\"\uFFFD\":\"a\uFFFD\uFFFD\uFFFD\"}");
}

TEST(PropertyListTest, RoundTrip) {
  Dictionary many;
  for (int i = 0; i < 700; ++i) many.set("key " + std::to_string(i), i);
  const Dictionary dictionary{{"text", "Zoë ☕ 😀"},        {"empty", ""},    {"least", INT64_MIN},
                              {"greatest", INT64_MAX},    {"real", 0.1},    {"bools", Array{true, false, Array()}},
                              {"bytes", Data{0, 1, 255}}, {"none", Data()}, {"date", Date{1614864612.25}},
                              {"early", Date{-86400.5}},  {"many", many}};
  const auto read = readPropertyList(*writePropertyList(dictionary));
  ASSERT_TRUE(read.ok()) << read.error().description();
  EXPECT_TRUE(*read == Value(dictionary));
  EXPECT_TRUE(description(*read) == description(dictionary)) << "the order of the keys changed";
}

TEST(PropertyListTest, LeavesOutOrReplacesWhatTheFormatHasNot) {
  const std::string nul("a\0b", 3);
  const Dictionary dictionary{{"null", nullptr}, {"list", Array{1, nullptr}}, {nul, nul}, {"bad", "\xFF"}};
  EXPECT_EQ(*readPropertyList(*writePropertyList(dictionary)),
            Value(Dictionary{{"list", Array{1}}, {"a\uFFFDb", "a\uFFFDb"}, {"bad", "\uFFFD"}}));
  Value deep = Array{1};
  for (std::size_t i = 2; i < maximumPropertyListDepth; ++i) deep = Array{deep};
  EXPECT_TRUE(readPropertyList(*writePropertyList({{"k", deep}})).ok());
  EXPECT_FALSE(writePropertyList({{"k", Array{deep}}}).ok());
}

TEST(PropertyListTest, ReadsXml) {
  const auto list = readPropertyList(
      dataOf("<?xml version=\"1.0\" encoding=\"UTF-8\"?><!DOCTYPE plist PUBLIC \"-//x\" \"http://x\">"
             "<plist version=\"1.0\"><!-- <dict> --><dict><key>a</key><array><integer>-5</integer><true/>"
             "<date>2021-03-04T13:30:12Z</date></array></dict></plist>"));
  EXPECT_EQ(list.value(), Value(Dictionary{{"a", Array{-5, true, Date{1614864612}}}}));
}

// An array of `width` references to the next level, and so on: small as a file, endless once copied.
Data sharingArrays(std::size_t levels, std::size_t width, bool cyclic) {
  const auto byte = [](std::size_t number) { return std::string(1, static_cast<char>(number)); };
  std::string bytes = "bplist00", offsets;
  for (std::size_t level = 1; level <= levels; ++level) {
    offsets += byte(bytes.size());
    bytes += byte(0xA0 | width);
    for (std::size_t i = 0; i < width; ++i) bytes += byte(level == levels && cyclic ? 0 : level);
  }
  offsets += byte(bytes.size());
  bytes += byte(0x09);
  const std::string zeros(7, '\0'), trailer = zeros.substr(1) + "\1\1" + zeros + byte(offsets.size()) + zeros + zeros;
  return dataOf(bytes + offsets + trailer + byte(0) + byte(bytes.size()));
}

TEST(PropertyListTest, RefusesHostileLists) {
  const std::string open = "<plist version=\"1.0\">";
  std::string deepXml = open;
  for (int i = 0; i < 100000; ++i) deepXml += "<array>";
  for (const Data& bytes : {sharingArrays(5, 3, true), sharingArrays(20, 10, false), sharingArrays(66, 1, false),
                            Data(maximumPropertyListSize + 1, '<')}) {
    EXPECT_FALSE(readPropertyList(bytes).ok()) << bytes.size();
  }
  for (const std::string& text :
       {std::string(), std::string("bplist00"), std::string("{}"), deepXml, open + "<array><!-- ",
        open + "</array></plist>", "<!DOCTYPE p [<!ENTITY a \"b\">]>" + open + "<string>&a;</string></plist>",
        open + "<dict><key>a&#0;b</key><true/></dict></plist>"}) {
    EXPECT_FALSE(readPropertyList(dataOf(text)).ok()) << text.substr(0, 200);
  }
  EXPECT_TRUE(readPropertyList(sharingArrays(5, 3, false)).ok());
  EXPECT_TRUE(readPropertyList(sharingArrays(64, 1, false)).ok());
}

TEST(PropertyListTest, SurvivesDamage) {
  const Data whole = *writePropertyList({{"a", Array{1, "text", Data(300)}}, {"d", Dictionary{{"x", Date{5}}}}});
  std::mt19937 random(11);
  for (int round = 0; round < 20000; ++round) {
    Data damaged = whole;
    for (unsigned flips = random() % 4 + 1; flips > 0; --flips) {
      // Mostly in the structure at the end, where an offset can point anywhere.
      const std::size_t tail = random() % 2 == 0 ? damaged.size() : 60;
      damaged[damaged.size() - 1 - random() % tail] = static_cast<std::uint8_t>(random());
    }
    if (round % 8 == 0) damaged.resize(random() % damaged.size());
    const auto read = readPropertyList(damaged);
    // What is still a list is a value like any other.
    EXPECT_TRUE(!read.ok() || writePropertyList({{"k", *read}}).ok());
  }
}

}  // namespace
}  // namespace trovix::platform
