#include "platform/Text.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/Crypto.h"
#include "platform/Regex.h"
#include "platform/Url.h"

namespace trovix::platform {
namespace {

using Strings = std::vector<std::string>;

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  char digits[3];
  for (const std::uint8_t byte : bytes) {
    snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

TEST(TextTest, LengthsInUtf16Units) {
  const struct {
    std::string text;
    std::size_t units;
    bool valid;
    std::size_t offsetOfThird;
  } cases[] = {
      {"", 0, true, 0},
      {"abc", 3, true, 2},
      {"é☕x", 3, true, 5},
      {"😀😀", 4, true, 4},
      {"a😀", 3, true, 1},
      {"\xFFz", 2, false, 2},
      {"\xC0\x80", 2, false, 2},
      {"\xED\xA0\x80", 3, false, 2},
      {"\xF4\x90\x80\x80", 4, false, 2},
      {"\xE2\x98", 2, false, 2},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(utf16Length(each.text), each.units) << each.text;
    EXPECT_EQ(isValidUtf8(each.text), each.valid) << each.text;
    EXPECT_EQ(utf8OffsetOfUtf16Unit(each.text, 2), each.offsetOfThird) << each.text;
    EXPECT_EQ(utf16Length(repairedUtf8(each.text)), each.units) << each.text;
  }
  EXPECT_EQ(utf8OffsetOfUtf16Unit("😀", 1), 0U);
  EXPECT_EQ(utf8OffsetOfUtf16Unit("ab", 9), 2U);
}

TEST(TextTest, Base64) {
  for (const auto& [plain, coded] : {std::pair<std::string, std::string>{"", ""},
                                     {"f", "Zg=="},
                                     {"fo", "Zm8="},
                                     {"foo", "Zm9v"},
                                     {"\xFF\xFE\x00z", "//4="}}) {
    EXPECT_EQ(base64(plain), coded);
    std::string back;
    EXPECT_TRUE(base64Decode(coded, back));
    EXPECT_EQ(back, plain);
  }
  std::string bytes;
  for (const char* bad : {"Z", "Zg=", "Zm9v!abc", "Z===", "====", "Zg==Zg=="})
    EXPECT_FALSE(base64Decode(bad, bytes)) << bad;
}

TEST(TextTest, CalendarTimes) {
  const struct {
    double seconds;
    std::int32_t offset;
    int expected[7];
  } cases[] = {
      {0, 0, {1970, 1, 1, 0, 0, 0, 0}},
      {1614864612.3, 7200, {2021, 3, 4, 15, 30, 12, 300}},
      {951782399.999, 0, {2000, 2, 28, 23, 59, 59, 999}},
      {-0.001, 0, {1969, 12, 31, 23, 59, 59, 999}},
      {-2203977600, 0, {1900, 2, 28, 0, 0, 0, 0}},
      {-2203891200, 0, {1900, 3, 1, 0, 0, 0, 0}},
      {-1e300, 0, {0, 1, 1, 0, 0, 0, 0}},
      {1e300, 3600, {9999, 12, 31, 23, 59, 59, 999}},
  };
  for (const auto& each : cases) {
    const CalendarTime time = calendarTime(each.seconds, each.offset);
    const int actual[] = {time.year, time.month, time.day, time.hour, time.minute, time.second, time.millisecond};
    for (std::size_t i = 0; i < 7; ++i) EXPECT_EQ(actual[i], each.expected[i]) << each.seconds << " field " << i;
  }
}

TEST(UrlTest, Parses) {
  const struct {
    const char* text;
    std::optional<std::string> host;
    const char* path;
    Strings components;
    std::optional<std::string> query;
  } cases[] = {
      {"https://h.example/a/b%20c/?x=1#f", "h.example", "/a/b c", {"/", "a", "b c"}, "x=1"},
      {"myapp://x?y", "x", "", {}, "y"},
      {"myapp:a/b", std::nullopt, "a/b", {"a", "b"}, std::nullopt},
      {"file:///", std::nullopt, "/", {"/"}, std::nullopt},
      {"http://user:pw@[::1]:80//a?", "::1", "//a", {"/", "a"}, ""},
      {"a:#?x", std::nullopt, "", {}, std::nullopt},
      {"http://h/a%2Fb?q=http://z?w/", "h", "/a/b", {"/", "a/b"}, "q=http://z?w/"},
  };
  for (const auto& each : cases) {
    const auto url = Url::parse(each.text);
    ASSERT_TRUE(url) << each.text;
    EXPECT_EQ(url->absoluteString(), each.text);
    EXPECT_EQ(url->host(), each.host) << each.text;
    EXPECT_EQ(url->path(), each.path) << each.text;
    EXPECT_EQ(url->pathComponents(), each.components) << each.text;
    EXPECT_EQ(url->query(), each.query) << each.text;
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
  const auto url = Url::parse("https://h/p?a=1&b&&c=%26%3D=&a=2#frag");
  ASSERT_TRUE(url);
  auto items = url->queryItems();
  ASSERT_EQ(items.size(), 5U);
  EXPECT_EQ(items[0].value, "1");
  EXPECT_EQ(items[1].value, std::nullopt);
  EXPECT_EQ(items[2].name, "");
  EXPECT_EQ(items[3].value, "&==");
  items.push_back({"né w", "x y#%"});
  const Url changed = url->withQueryItems(items);
  EXPECT_EQ(changed.absoluteString(), "https://h/p?a=1&b&&c=%26%3D%3D&a=2&n%C3%A9%20w=x%20y%23%25#frag");
  const auto again = Url::parse(changed.absoluteString());
  ASSERT_TRUE(again);
  EXPECT_EQ(again->queryItems().back().value, "x y#%");
  EXPECT_EQ(changed.query(), again->query());
  EXPECT_EQ(changed.withQueryItems({}).absoluteString(), "https://h/p#frag");
  EXPECT_EQ(Url::parse("x:y")->withQueryItems({{"a", "b"}}).absoluteString(), "x:y?a=b");
}

TEST(UrlTest, TakesHugeLinks) {
  std::string text = "https://h/";
  for (int i = 0; i < 100000; ++i) text += "a/%20/";
  text += "?";
  for (int i = 0; i < 100000; ++i) text += "k=v&";
  const auto url = Url::parse(text);
  ASSERT_TRUE(url);
  EXPECT_EQ(url->queryItems().size(), 100001U);
  EXPECT_EQ(url->pathComponents().size(), 200001U);
}

TEST(RegexTest, FindsEveryFirstGroup) {
  const Regex regex(R"(id=(\d*))");
  EXPECT_TRUE(regex.matches("xid=5"));
  EXPECT_FALSE(regex.matches("\xFF"));
  using Ranges = std::vector<std::pair<std::size_t, std::size_t>>;
  EXPECT_EQ(regex.firstGroups("id=12&id=&id=3"), (Ranges{{3, 5}, {9, 9}, {13, 14}}));
  EXPECT_EQ(Regex("(x*)").firstGroups("ax"), (Ranges{{0, 0}, {1, 2}, {2, 2}}));
}

TEST(CryptoTest, KnownDigests) {
  EXPECT_EQ(hex(md5(bytesOf(""))), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(hex(sha1(bytesOf("abc"))), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(hex(sha256(bytesOf("abc"))), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hex(hmacSha256(bytesOf("Jefe"), bytesOf("what do ya want for nothing?"))),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(hex(hmacSha256(bytesOf(""), bytesOf(""))),
            "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

TEST(CryptoTest, UUIDsAreOfVersionFourAndDiffer) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string text = randomUUIDString();
    EXPECT_TRUE(Regex("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$").matches(text)) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 100U);
}

}  // namespace
}  // namespace trovix::platform
