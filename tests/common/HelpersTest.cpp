#include <gtest/gtest.h>

#include <string>

#include "common/Dates.h"
#include "common/Encoding.h"
#include "common/Log.h"
#include "common/TXSDKError.h"
#include "common/TrovixAES128Crypto.h"
#include "platform/Crypto.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/Output.h"

namespace trovix {
namespace {

Data fromHex(std::string_view text) {
  Data bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

template <std::size_t size>
std::array<std::uint8_t, size> arrayOf(const Data& bytes) {
  std::array<std::uint8_t, size> array{};
  std::copy_n(bytes.begin(), size, array.begin());
  return array;
}

class LinesLog : public platform::SystemLog {
 public:
  LinesLog() {
    logging::installSink(this, nullptr);
    TXSetShowDebugLogs(true);
  }
  ~LinesLog() override {
    logging::switches = 0;
    logging::installSink(nullptr, nullptr);
  }
  void write(std::string_view line) override { lines.emplace_back(line); }
  std::vector<std::string> lines;
};

class FixedZone : public platform::Locale {
 public:
  explicit FixedZone(std::int32_t offset) : offset_(offset) {}
  [[nodiscard]] std::optional<std::string> preferredLanguage() const override { return std::nullopt; }
  [[nodiscard]] std::optional<std::string> languageCode() const override { return std::nullopt; }
  [[nodiscard]] std::optional<std::string> countryCode() const override { return std::nullopt; }
  [[nodiscard]] std::int32_t secondsFromGMT(double) const override { return offset_; }

 private:
  std::int32_t offset_;
};

TEST(EncodingTest, Escapes) {
  const struct {
    const char *text, *percentEscapes, *escapeString;
  } cases[] = {
      {"a b&c=d", "a%20b&c=d", "a%20b%26c%3Dd"},
      {"é?x=1#f", "%C3%A9?x=1%23f", "%C3%A9%3Fx%3D1%23f"},
      {"100%", "100%25", "100%25"},
      {"[x]{y}|z^", "%5Bx%5D%7By%7D%7Cz%5E", "%5Bx%5D%7By%7D%7Cz%5E"},
      {"a+b,c;d:e@f", "a+b,c;d:e@f", "a%2Bb%2Cc%3Bd%3Ae%40f"},
      {"-._~!*'()$/\"<>\\`\x7F", "-._~!*'()$/%22%3C%3E%5C%60%7F", "-._~%21%2A%27%28%29%24%2F%22%3C%3E%5C%60%7F"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(TXSDKPercentEscapes(each.text), each.percentEscapes);
    EXPECT_EQ(txsdk_escapeString(each.text), each.escapeString);
  }
}

TEST(EncodingTest, QueryStringsKeepLonelySeparators) {
  LinesLog log;
  EXPECT_EQ(txsdk_queryString({}), std::nullopt);
  EXPECT_EQ(txsdk_queryString({{"k", "v"}}), "?k=v");
  EXPECT_EQ(txsdk_queryString({{"n", 1}}), "?");
  EXPECT_EQ(txsdk_queryString({{"n", 1}, {"k&", "a b"}, {"m", nullptr}, {"z", ""}}), "?&k%26=a%20b&&z=");
  EXPECT_EQ(log.lines.front(), "[DEBUG] Trovix: Key `n` ignored. Unsupported format.");
  EXPECT_EQ(log.lines.size(), 3U);
}

TEST(EncodingTest, JsonFailuresAreTheDocumentedOnes) {
  LinesLog log;
  EXPECT_EQ(txsdk_stringify({{"a", Array{1, "é"}}}), "{\"a\":[1,\"é\"]}");
  EXPECT_TRUE(log.lines.empty());
  EXPECT_EQ(txsdk_stringify({{"a", Date{0}}}), "");
  ASSERT_EQ(log.lines.size(), 1U);
  EXPECT_TRUE(log.lines[0].starts_with("[ERROR] Trovix: Error serializing JSON for stringify Error Domain="));

  const auto bytes = [](std::string_view text) { return Data(text.begin(), text.end()); };
  EXPECT_EQ(*txsdk_json(bytes("{\"a\":1}")), Value(Dictionary{{"a", 1}}));
  EXPECT_EQ(*txsdk_json(bytes("true"), true), Value(true));
  EXPECT_EQ(txsdk_json(bytes("{")).error().domain(), "NSCocoaErrorDomain");
  const Error array = txsdk_json(bytes("[1,2]")).error();
  EXPECT_EQ(array.domain(), "example.trovix.sdk.serialize");
  EXPECT_EQ(array.code(), 60);
  EXPECT_EQ(array.localizedDescription(), "Root object is an Array");
  EXPECT_EQ(txsdk_json(std::nullopt).error().code(), 62);
}

TEST(ErrorTest, TheFactoryAddsOnlyWhatIsGiven) {
  EXPECT_EQ(TXSDKError::Unexpected(),
            Error("example.trovix.sdk.unexpected", 100, {{Error::localizedDescriptionKey, "Unexpected error"}}));
  const Error bare = TXSDKError::errorWithDomain("d", 7, {}, std::nullopt, std::nullopt);
  EXPECT_TRUE(bare.userInfo().empty());
  EXPECT_EQ(bare.underlyingError(), nullptr);
  const Error full = TXSDKError::errorWithDomain("d", 7, {{"k", 1}}, "m", bare);
  EXPECT_EQ(full.userInfo(), (Dictionary{{"k", 1}, {Error::localizedDescriptionKey, "m"}}));
  EXPECT_EQ(*full.underlyingError(), bare);
  EXPECT_EQ(TXSDKError::errorWithDomain("d", "m").code(), 0);
}

TEST(DatesTest, FixedFormats) {
  const double moment = 1614864612;
  EXPECT_EQ(TXSDKDateString(moment, FixedZone(7200)), "2021-03-04_153012+0200");
  EXPECT_EQ(TXSDKDateString(moment, FixedZone(-12600)), "2021-03-04_100012-0330");
  EXPECT_EQ(TXSDKDateString(moment, FixedZone(0)), "2021-03-04_133012+0000");
  EXPECT_EQ(TXSDKDateStringRD(moment, FixedZone(45900)), "2021-03-05 02:15:12");
  EXPECT_EQ(TXSDKDateStringSig(moment), "2021-03-04T13:30:12.000");
  EXPECT_EQ(TXSDKDateStringSig(1795383000.125), "2026-11-22T21:30:00.125");
}

TEST(CryptoTest, KeysAndBodiesMatchKnownAnswers) {
  const struct {
    const char *password, *key;
  } keys[] = {{"kVx2pQ9sLmN4", "580116c18ce2626ad72fb7776672dcd1"},
              {"k", "f7da345a6e2f73d4d885809fc95f8edd"},
              {"ключ разработчика", "5b0f38720c02817127bc6cb286e793d1"}};
  for (const auto& each : keys) {
    EXPECT_EQ(TrovixAES128Crypto::AESKeyForPassword(each.password, Data(8)), arrayOf<16>(fromHex(each.key)));
  }
  const struct {
    const char *plain, *password, *iv, *message;
  } bodies[] = {
      {"", "kVx2pQ9sLmN4", "000102030405060708090a0b0c0d0e0f",
       "251472a3150eaa80de2b072889e31311000102030405060708090a0b0c0d0e0f0000000000000000"},
      {"{\"uid\":\"1612345678901-1234567\",\"counter\":\"1\"}", "kVx2pQ9sLmN4", "f0e1d2c3b4a5968778695a4b3c2d1e0f",
       "d26066378232da570203f5b38ccd08e11f10d627dd678e29843e16e143f6b0720ae5f62d2f52be2513106218cf8a2eab"
       "f0e1d2c3b4a5968778695a4b3c2d1e0f0000000000000000"},
      {"0123456789abcdef", "k", "00112233445566778899aabbccddeeff",
       "6357505dbbdd542712f134e9db1b045637317fafce74f0e33e35d79e1778055d00112233445566778899aabbccddeeff"
       "0000000000000000"},
      {"{\"name\":\"Zoë ☕\"}", "ключ разработчика", "0f0e0d0c0b0a09080706050403020100",
       "ed8184cd420d177251fb7d2e3c9b806014e9ba4c2b6dc8c9d8fe51467c9d9a210f0e0d0c0b0a09080706050403020100"
       "0000000000000000"},
  };
  for (const auto& each : bodies) {
    const std::string_view plain = each.plain;
    const Data known = fromHex(each.message);
    const auto key = TrovixAES128Crypto::AESKeyForPassword(each.password, Data(8));
    const Data iv = fromHex(each.iv);
    const auto cipherText = platform::aes128CbcEncrypt(platform::bytesOf(plain), key, arrayOf<16>(iv));
    ASSERT_TRUE(cipherText.ok());
    EXPECT_EQ(*cipherText, Data(known.begin(), known.end() - 24));

    // A body with its own vector is the same message made with that vector.
    const auto body = TrovixAES128Crypto::encrypt(Data(plain.begin(), plain.end()), each.password);
    ASSERT_TRUE(body && body->size() == known.size());
    const Data drawn(body->end() - 24, body->end() - 8);
    EXPECT_NE(drawn, iv);
    EXPECT_EQ(Data(body->end() - 8, body->end()), Data(8));
    EXPECT_EQ(Data(body->begin(), body->end() - 24),
              *platform::aes128CbcEncrypt(platform::bytesOf(plain), key, arrayOf<16>(drawn)));
  }
}

TEST(CryptoTest, TheKeyLineIsMirroredTwice) {
  std::vector<std::pair<std::int32_t, std::string>> mirrored;
  logging::installMirror({[](void* context, std::int32_t level, std::string_view, std::string_view message) {
                            static_cast<decltype(mirrored)*>(context)->emplace_back(level, message);
                          },
                          &mirrored});
  LinesLog log;
  static_cast<void>(TrovixAES128Crypto::encrypt(Data(1), "k"));
  EXPECT_TRUE(log.lines.empty());
  logging::setMirroring(true);
  TXSetShowDebugLogsTrace(true);
  static_cast<void>(TrovixAES128Crypto::encrypt(Data(1), "k"));
  EXPECT_EQ(mirrored, (decltype(mirrored){{5, "key: (null)"}, {4, "key: (null)"}}));
  EXPECT_EQ(log.lines, std::vector<std::string>{"(--:--:--:---) Trovix: [TRACE] key: (null)"});
  logging::installMirror({});
}

TEST(CryptoTest, ManyPasswordsKeepTheirKeys) {
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 6; ++i) {
      const std::string password = "password " + std::to_string(i);
      const auto body = TrovixAES128Crypto::encrypt({}, password);
      const Data iv(body->end() - 24, body->end() - 8);
      EXPECT_EQ(
          Data(body->begin(), body->begin() + 16),
          *platform::aes128CbcEncrypt({}, TrovixAES128Crypto::AESKeyForPassword(password, Data(8)), arrayOf<16>(iv)));
    }
  }
}

TEST(CryptoTest, RandomBytesDiffer) {
  EXPECT_TRUE(TrovixAES128Crypto::randomDataOfLength(0).empty());
  EXPECT_NE(TrovixAES128Crypto::randomDataOfLength(16), TrovixAES128Crypto::randomDataOfLength(16));
}

}  // namespace
}  // namespace trovix
