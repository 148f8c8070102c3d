#include "platform/Text.h"

#include <set>

#include "platform/Crypto.h"
#include "platform/Regex.h"
#include "platform/Url.h"
#include "support/Testing.h"

namespace trovix::platform {

using Strings = std::vector<std::string>;

TEST(TextTest, LengthsInUtf16Units) {
  const std::tuple<std::string, std::size_t, bool, std::size_t> cases[] = {{"", 0, true, 0},
                                                                           {"é☕x", 3, true, 5},
                                                                           {"😀😀", 4, true, 4},
                                                                           {"a😀", 3, true, 1},
                                                                           {"\xFFz", 2, false, 2},
                                                                           {"\xC0\x80", 2, false, 2},
                                                                           {"\xED\xA0\x80", 3, false, 2},
                                                                           {"\xF4\x90\x80\x80", 4, false, 2},
                                                                           {"\xE2\x98", 2, false, 2}};
  for (const auto& [text, units, valid, offsetOfThird] : cases) {
    EXPECT_EQ(utf16Length(text), units) << text;
    EXPECT_EQ(isValidUtf8(text), valid) << text;
    EXPECT_EQ(utf8OffsetOfUtf16Unit(text, 2), offsetOfThird) << text;
    EXPECT_EQ(utf16Length(repairedUtf8(text)), units) << text;
  }
  EXPECT_EQ(utf8OffsetOfUtf16Unit("😀", 1), 0U);
  EXPECT_EQ(utf8OffsetOfUtf16Unit("ab", 9), 2U);
}

TEST(TextTest, Base64) {
  EXPECT_EQ(base64("foo"), "Zm9v");
  for (const char* coded : {"", "Zg==", "Zm8=", "Zm9v", "//4="}) {
    std::string bytes;
    EXPECT_TRUE(base64Decode(coded, bytes));
    EXPECT_EQ(base64(bytes), coded);
  }
  std::string out;
  for (const char* bad : {"Z", "Zg=", "Zm9v!abc", "Z===", "====", "Zg==Zg=="}) EXPECT_FALSE(base64Decode(bad, out));
}

TEST(TextTest, CalendarTimes) {
  const std::tuple<double, std::int32_t, std::vector<int>> cases[] = {
      {1614864612.3, 7200, {2021, 3, 4, 15, 30, 12, 300}}, {951782399.999, 0, {2000, 2, 28, 23, 59, 59, 999}},
      {-0.001, 0, {1969, 12, 31, 23, 59, 59, 999}},        {-2203977600, 0, {1900, 2, 28, 0, 0, 0, 0}},
      {-2203891200, 0, {1900, 3, 1, 0, 0, 0, 0}},          {-1e300, 0, {0, 1, 1, 0, 0, 0, 0}},
      {1e300, 3600, {9999, 12, 31, 23, 59, 59, 999}}};
  for (const auto& [seconds, offset, expected] : cases) {
    const CalendarTime t = calendarTime(seconds, offset);
    EXPECT_EQ((std::vector{t.year, t.month, t.day, t.hour, t.minute, t.second, t.millisecond}), expected);
  }
}

TEST(UrlTest, Parses) {
  const std::tuple<const char*, std::optional<std::string>, const char*, Strings, std::optional<std::string>> cases[] =
      {{"https://h.example/a/b%20c/?x=1#f", "h.example", "/a/b c", {"/", "a", "b c"}, "x=1"},
       {"myapp://x?y", "x", "", {}, "y"},
       {"myapp:a/b", std::nullopt, "a/b", {"a", "b"}, std::nullopt},
       {"file:///", std::nullopt, "/", {"/"}, std::nullopt},
       {"http://user:pw@[::1]:80//a?", "::1", "//a", {"/", "a"}, ""},
       {"a:#?x", std::nullopt, "", {}, std::nullopt},
       {"http://h/a%2Fb?q=http://z?w/", "h", "/a/b", {"/", "a/b"}, "q=http://z?w/"}};
  for (const auto& [text, host, path, components, query] : cases) {
    const auto url = Url::parse(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), text);
    EXPECT_EQ(url->host(), host) << text;
    EXPECT_EQ(url->path(), path) << text;
    EXPECT_EQ(url->pathComponents(), components) << text;
    EXPECT_EQ(url->query(), query) << text;
  }
}

TEST(UrlTest, Refuses) {
  for (const char* text :
       {"", "nothing", "/a/b", "//h/a", "http://a b", "http://h/a\n", "http://h/%zz", "http://h/%4", "http://h/é",
        "1a://h", "http://[::1/", "http://h/?a|b", "http://h:x/", "http://[::1]a.example/", ":a"}) {
    EXPECT_FALSE(Url::parse(text)) << text;
  }
}

TEST(UrlTest, QueryItemsAreReadAndWritten) {
  const Url url = Url::parse("https://h/p?a=1&b&&c=%26%3D=&a=2#frag").value();
  auto items = url.queryItems();
  ASSERT_EQ(items.size(), 5U);
  EXPECT_EQ(items[1].value, std::nullopt);
  EXPECT_EQ(items[2].name, "");
  EXPECT_EQ(items[3].value, "&==");
  items.push_back({"né w", "x y#%"});
  const Url changed = url.withQueryItems(items);
  EXPECT_EQ(changed.absoluteString(), "https://h/p?a=1&b&&c=%26%3D%3D&a=2&n%C3%A9%20w=x%20y%23%25#frag");
  EXPECT_EQ(Url::parse(changed.absoluteString())->queryItems().back().value, "x y#%");
  EXPECT_EQ(changed.withQueryItems({}).absoluteString(), "https://h/p#frag");
  EXPECT_EQ(Url::parse("x:y")->withQueryItems({{"a", "b"}}).absoluteString(), "x:y?a=b");
}

TEST(RegexTest, FindsMatchesInTurn) {
  const Regex regex(R"(id=(\d*))");
  EXPECT_TRUE(regex.matches("xid=5"));
  EXPECT_FALSE(regex.matches("\xFF"));
  const std::string_view text = "id=12&id=&x";
  EXPECT_EQ(regex.find(text, 0), "id=12");
  EXPECT_EQ(regex.find(text, 1), "id=");
  EXPECT_EQ(regex.find(text, 7), std::nullopt);
}

TEST(CryptoTest, UUIDsAreOfVersionFourAndDiffer) {
  std::set<std::string> seen;
  const Regex form("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$");
  for (std::size_t i = 1; i <= 100; ++i) {
    EXPECT_TRUE(form.matches(*seen.insert(randomUUIDString()).first));
    EXPECT_EQ(seen.size(), i);
  }
}

}  // namespace trovix::platform
