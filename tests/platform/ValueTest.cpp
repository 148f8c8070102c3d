#include "trovix/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "trovix/Error.h"
#include "trovix/platform/FileSystem.h"
#include "trovix/platform/URLSession.h"
#include "trovix/platform/UserDefaults.h"

namespace trovix {
namespace {

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
  const struct {
    Value value;
    std::int64_t integer;
    double real;
    bool truth;
  } cases[] = {
      {Value("42 apples"), 42, 42, true},
      {Value(" -7.5e1x"), -7, -75, true},
      {Value("YES"), 0, 0, true},
      {Value("true"), 0, 0, true},
      {Value("no"), 0, 0, false},
      {Value("007"), 7, 7, true},
      {Value("000"), 0, 0, false},
      {Value("inf"), 0, 0, false},
      {Value("nan"), 0, 0, false},
      {Value("-9223372036854775809"), INT64_MIN, -9223372036854775809.0, true},
      {Value("99999999999999999999"), INT64_MAX, 1e20, true},
      {Value("1e999"), 1, HUGE_VAL, true},
      {Value("1e-999"), 1, 0, true},
      {Value(-1e300), INT64_MIN, -1e300, true},
      {Value(HUGE_VAL), INT64_MAX, HUGE_VAL, true},
      {Value(0.5), 0, 0.5, true},
      {Value(nullptr), 0, 0, false},
      {Value(Array{1}), 0, 0, false},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.value.integerValue(), each.integer) << description(each.value);
    EXPECT_EQ(each.value.doubleValue(), each.real) << description(each.value);
    EXPECT_EQ(each.value.boolValue(), each.truth) << description(each.value);
  }
  EXPECT_EQ(Value(std::nan("")).integerValue(), 0);
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
  EXPECT_EQ(description(dictionary), R"({
    plain = word;
    "a key" = "two words";
    n = 9.99;
    yes = 1;
    null = "<null>";
    list =     (
        1,
        (
            x
        )
    );
    empty = "";
    in =     {
        q = "say \"hi\"\n";
    };
})");
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

TEST(DictionaryTest, NullIsThereAndMissingIsNot) {
  const Dictionary dictionary{{"null", nullptr}};
  EXPECT_TRUE(dictionary.contains("null"));
  EXPECT_EQ(dictionary.string("null"), nullptr);
  EXPECT_FALSE(dictionary.contains(""));
  EXPECT_NE(dictionary, (Dictionary{{"other", nullptr}}));
}

TEST(ErrorTest, DescribesItselfAndItsCause) {
  const Error cause("inner", -1001);
  const Error error("outer", 40, {{Error::localizedDescriptionKey, "broken"}}, cause);
  EXPECT_EQ(cause.localizedDescription(), "The operation couldn’t be completed. (inner error -1001.)");
  EXPECT_EQ(error.description(),
            "Error Domain=outer Code=40 \"broken\" UserInfo={NSUnderlyingError={" + cause.description() + "}}");
  EXPECT_NE(error, Error("outer", 40, error.userInfo()));
  EXPECT_EQ(error, Error("outer", 40, error.userInfo(), Error("inner", -1001)));
  EXPECT_TRUE(platform::isPassingFailure(Error(posixErrorDomain, EMFILE)));
  EXPECT_FALSE(platform::isPassingFailure(Error(posixErrorDomain, ENOENT)));
  EXPECT_FALSE(platform::isPassingFailure(Error("other", EMFILE)));
}

TEST(HeaderFieldsTest, NamesCompareWithoutCase) {
  platform::HeaderFields headers;
  headers.add("Set-Cookie", "a");
  headers.add("set-cookie", "b");
  headers.set("SET-COOKIE", "c");
  ASSERT_NE(headers.find("Set-cookie"), nullptr);
  EXPECT_EQ(*headers.find("Set-cookie"), "c");
  EXPECT_EQ(headers.end() - headers.begin(), 1);
  EXPECT_EQ(headers.find("Set-Cookie2"), nullptr);
}

class FixedDefaults : public platform::UserDefaults {
 public:
  explicit FixedDefaults(Dictionary values) : values_(std::move(values)) {}
  [[nodiscard]] std::shared_ptr<const Value> object(std::string_view key) const override {
    const Value* value = values_.find(key);
    return value == nullptr ? nullptr : std::make_shared<const Value>(*value);
  }
  void set(std::string_view, Value) override {}
  void remove(std::string_view) override {}
  void setAll(const std::vector<std::pair<std::string, std::optional<Value>>>&) override {}
  void refresh() override {}

 private:
  Dictionary values_;
};

TEST(UserDefaultsTest, TypedReadsConvert) {
  const FixedDefaults defaults({{"flag", true},
                                {"count", 12},
                                {"price", 9.5},
                                {"text", "12.5"},
                                {"list", Array{1}},
                                {"d", Dictionary{{"a", 1}}}});
  EXPECT_EQ(defaults.string("flag"), "1");
  EXPECT_EQ(defaults.string("count"), "12");
  EXPECT_EQ(defaults.string("price"), "9.5");
  EXPECT_EQ(defaults.string("list"), std::nullopt);
  EXPECT_EQ(defaults.string("missing"), std::nullopt);
  EXPECT_EQ(defaults.integer("text"), 12);
  EXPECT_EQ(defaults.real("text"), 12.5);
  EXPECT_TRUE(defaults.boolean("count"));
  EXPECT_FALSE(defaults.boolean("missing"));
  EXPECT_EQ(defaults.dictionary("d"), (Dictionary{{"a", 1}}));
  EXPECT_EQ(defaults.dictionary("text"), std::nullopt);
}

}  // namespace
}  // namespace trovix
