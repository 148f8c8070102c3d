#include "trovix/Value.h"

#include <cmath>

#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix {

TEST(ValueTest, NumbersCompareAsNumbersAndNothingElseDoes) {
  EXPECT_EQ(Value(true), Value(1));
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_NE(Value("1"), Value(1));
  EXPECT_NE(Value(nullptr), Value(0));
  // Neighbours that one double stands for.
  EXPECT_NE(Value(std::int64_t{9007199254740993}), Value(9007199254740992.0));
  EXPECT_NE(Value(INT64_MAX), Value(9223372036854775808.0));
  EXPECT_EQ(Value(UINT64_MAX), Value(INT64_MAX));
}

TEST(ValueTest, LenientReads) {
  const std::tuple<Value, std::int64_t, double, bool> cases[] = {{"42 apples", 42, 42, true},
                                                                 {-1e300, INT64_MIN, -1e300, true},
                                                                 {" -7.5e1x", -7, -75, true},
                                                                 {HUGE_VAL, INT64_MAX, HUGE_VAL, true},
                                                                 {"1e999", 1, HUGE_VAL, true},
                                                                 {std::nan(""), 0, std::nan(""), true},
                                                                 {"1e-999", 1, 0, true},
                                                                 {nullptr, 0, 0, false},
                                                                 {"YES", 0, 0, true},
                                                                 {"no", 0, 0, false},
                                                                 {"007", 7, 7, true},
                                                                 {"inf", 0, 0, false},
                                                                 {"-99999999999999999999", INT64_MIN, -1e20, true},
                                                                 {0.5, 0, 0.5, true},
                                                                 {"99999999999999999999", INT64_MAX, 1e20, true}};
  for (const auto& [value, integer, real, truth] : cases) {
    EXPECT_EQ(value.integerValue(), integer) << description(value);
    EXPECT_THAT(value.doubleValue(), testing::NanSensitiveDoubleEq(real)) << description(value);
    EXPECT_EQ(value.boolValue(), truth) << description(value);
  }
}

TEST(ValueTest, Presence) {
  for (const Value& absent : {Value(nullptr), Value(""), Value(Data()), Value(Array()), Value(Dictionary())}) {
    EXPECT_FALSE(txsdk_exists(absent)) << description(absent);
  }
  for (const Value& present : {Value(0), Value(false), Value(" "), Value(Data{0}), Value(Array{nullptr})}) {
    EXPECT_TRUE(txsdk_exists(present)) << description(present);
  }
  EXPECT_FALSE(txsdk_exists(static_cast<const Value*>(nullptr)));
}

TEST(ValueTest, Description) {
  const Dictionary dictionary{
      {"plain", "word"}, {"a key", "two words"},         {"n", 9.99},   {"yes", true},
      {"null", nullptr}, {"list", Array{1, Array{"x"}}}, {"empty", ""}, {"in", Dictionary{{"q", "say \"hi\"\n"}}}};
  EXPECT_EQ(
      description(dictionary),
      "{\n    plain = word;\n    \"a key\" = \"two words\";\n    n = 9.99;\n    yes = 1;\n    null = \"<null>\";\n"
      "    list =     (\n        1,\n        (\n            x\n        )\n    );\n    empty = \"\";\n"
      "    in =     {\n        q = \"say \\\"hi\\\"\\n\";\n    };\n}");
  EXPECT_EQ(description(Value("as it is\n")), "as it is\n");
  EXPECT_EQ(description(Value(nullptr)), "<null>");
  EXPECT_EQ(description(std::optional<std::string>()), "(null)");
  EXPECT_EQ(description(Value(Data{1, 255})), "{length = 2, bytes = 0x01ff}");
  EXPECT_EQ(description(Value(Date{951782400})), "2000-02-29 00:00:00 +0000");
}

TEST(DictionaryTest, KeepsOrderAndFindsEveryKeyAtEverySize) {
  for (const int size : {3, 16, 17, 33, 5000}) {
    Dictionary dictionary;
    for (int i = 0; i < size; ++i) dictionary.set("key " + std::to_string(i), i);
    dictionary.set("key 1", "replaced");
    EXPECT_TRUE(dictionary.remove("key 0"));
    EXPECT_FALSE(dictionary.remove("key 0"));
    dictionary.removeIf([](const Dictionary::Entry& entry) { return entry.second.integerValue() % 3 == 2; });
    dictionary.set("key 0", "back");
    Dictionary backwards;
    for (auto entry = dictionary.end(); entry != dictionary.begin();) {
      --entry;
      backwards.set(entry->first, entry->second);
    }
    EXPECT_EQ(dictionary.begin()->first, "key 1");
    EXPECT_EQ((dictionary.end() - 1)->first, "key 0");
    for (int i = 0; i < size; ++i) {
      EXPECT_EQ(dictionary.contains("key " + std::to_string(i)), i % 3 != 2) << i << " of " << size;
    }
    EXPECT_EQ(dictionary, backwards);
    backwards.set("key 1", nullptr);
    EXPECT_NE(dictionary, backwards);
  }
}

TEST(ErrorTest, DescribesItselfAndItsCause) {
  const Error cause("inner", -1001);
  const Error error("outer", 40, {{Error::localizedDescriptionKey, "broken"}}, cause);
  EXPECT_EQ(cause.localizedDescription(), "The operation couldn’t be completed. (inner error -1001.)");
  EXPECT_EQ(error.description(),
            "Error Domain=outer Code=40 \"broken\" UserInfo={NSUnderlyingError={" + cause.description() + "}}");
  EXPECT_NE(error, Error("outer", 40, error.userInfo()));
  EXPECT_EQ(error, Error("outer", 40, error.userInfo(), Error("inner", -1001)));
  EXPECT_FALSE(platform::isPassingFailure(Error("other", EMFILE)));
}

TEST(UserDefaultsTest, TypedReadsConvert) {
  test::SimulatedDevice device;
  platform::UserDefaults& defaults = device.userDefaults.standard();
  const Dictionary inner{{"a", 1}};
  defaults.setAll({{"flag", true}, {"count", 12}, {"price", 9.5}, {"text", "12.5"}, {"list", Array{1}}, {"d", inner}});
  const std::pair<const char*, std::optional<std::string>> texts[] = {
      {"flag", "1"}, {"count", "12"}, {"price", "9.5"}, {"list", std::nullopt}, {"missing", std::nullopt}};
  for (const auto& [key, text] : texts) EXPECT_EQ(defaults.string(key), text) << key;
  EXPECT_EQ(defaults.integer("text"), 12);
  EXPECT_EQ(defaults.real("text"), 12.5);
  EXPECT_TRUE(defaults.boolean("count"));
  EXPECT_FALSE(defaults.boolean("missing"));
  EXPECT_EQ(defaults.dictionary("d"), inner);
  EXPECT_EQ(defaults.dictionary("text"), std::nullopt);
}

}  // namespace trovix
