#include "common/Dates.h"
#include "common/Encoding.h"
#include "common/TrovixAES128Crypto.h"
#include "platform/Crypto.h"
#include "support/SimulatedFacts.h"
#include "support/Testing.h"

namespace trovix::test {
namespace {

/// The text under the password and the vector of another message: ciphertext, vector, salt.
Data messageLike(const Data& other, std::string_view plain, const char* password) {
  TrovixAES128Crypto::Key vector{};
  std::copy_n(other.end() - 24, vector.size(), vector.begin());
  const auto key = TrovixAES128Crypto::AESKeyForPassword(password, Data(8));
  Data message = *platform::aes128CbcEncrypt(platform::bytesOf(plain), key, vector);
  message.insert(message.end(), vector.begin(), vector.end());
  message.resize(message.size() + 8);
  return message;
}

TEST(EncodingTest, Escapes) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"a b&c=d", "a%20b&c=d", "a%20b%26c%3Dd"},
      {"é?x=1#f", "%C3%A9?x=1%23f", "%C3%A9%3Fx%3D1%23f"},
      {"100%", "100%25", "100%25"},
      {"[x]{y}|z^", "%5Bx%5D%7By%7D%7Cz%5E", "%5Bx%5D%7By%7D%7Cz%5E"},
      {"a+b,c;d:e@f", "a+b,c;d:e@f", "a%2Bb%2Cc%3Bd%3Ae%40f"},
      {"-._~!*'()$/\"<>\\`\x7F", "-._~!*'()$/%22%3C%3E%5C%60%7F", "-._~%21%2A%27%28%29%24%2F%22%3C%3E%5C%60%7F"}};
  for (const auto& [text, percentEscapes, escapeString] : cases) {
    EXPECT_EQ(TXSDKPercentEscapes(text), percentEscapes);
    EXPECT_EQ(txsdk_escapeString(text), escapeString);
  }
}

TEST(EncodingTest, JsonFailuresAreTheDocumentedOnes) {
  EXPECT_EQ(txsdk_stringify({{"a", Array{1, "é"}}}), "{\"a\":[1,\"é\"]}");
  EXPECT_EQ(txsdk_stringify({{"a", Date{0}}}), "");

  const auto bytes = [](std::string_view text) { return Data(text.begin(), text.end()); };
  EXPECT_EQ(*txsdk_json(bytes("{\"a\":1}")), Value(Dictionary{{"a", 1}}));
  EXPECT_EQ(*txsdk_json(bytes("true"), true), Value(true));
  EXPECT_EQ(txsdk_json(bytes("{")).error().domain(), "NSCocoaErrorDomain");
  EXPECT_EQ(txsdk_json(bytes("[1,2]")).error(),
            Error("example.trovix.sdk.serialize", 60, {{Error::localizedDescriptionKey, "Root object is an Array"}}));
  EXPECT_EQ(txsdk_json(std::nullopt).error().code(), 62);
}

TEST(DatesTest, FixedFormats) {
  const auto at = [](std::int32_t offset) {
    SimulatedLocale zone;
    zone.zoneOffset = offset;
    return zone;
  };
  const double moment = 1614864612;
  EXPECT_EQ(TXSDKDateString(moment, at(7200)), "2021-03-04_153012+0200");
  EXPECT_EQ(TXSDKDateString(moment, at(-12600)), "2021-03-04_100012-0330");
  EXPECT_EQ(TXSDKDateStringRD(moment, at(45900)), "2021-03-05 02:15:12");
  EXPECT_EQ(TXSDKDateStringSig(moment), "2021-03-04T13:30:12.000");
  EXPECT_EQ(TXSDKDateStringSig(1795383000.125), "2026-11-22T21:30:00.125");
}

TEST(CryptoTest, BodiesMatchKnownAnswersAndVaryOnlyInTheirVector) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"", "kVx2pQ9sLmN4", "251472a3150eaa80de2b072889e31311000102030405060708090a0b0c0d0e0f0000000000000000"},
      {"{\"uid\":\"1612345678901-1234567\",\"counter\":\"1\"}", "kVx2pQ9sLmN4",
       "d26066378232da570203f5b38ccd08e11f10d627dd678e29843e16e143f6b0720ae5f62d2f52be2513106218cf8a2eab"
       "f0e1d2c3b4a5968778695a4b3c2d1e0f0000000000000000"},
      {"0123456789abcdef", "k",
       "6357505dbbdd542712f134e9db1b045637317fafce74f0e33e35d79e1778055d00112233445566778899aabbccddeeff"
       "0000000000000000"},
      {"{\"name\":\"Zoë ☕\"}", "ключ разработчика",
       "ed8184cd420d177251fb7d2e3c9b806014e9ba4c2b6dc8c9d8fe51467c9d9a210f0e0d0c0b0a09080706050403020100"
       "0000000000000000"}};
  const auto expectBody = [](const std::string& plain, const char* password, const Data& unlike) {
    const auto body = TrovixAES128Crypto::encrypt(Data(plain.begin(), plain.end()), password);
    EXPECT_EQ(body, messageLike(*body, plain, password)) << password;
    EXPECT_NE(body, unlike);
  };
  for (const auto& [plain, password, message] : cases) {
    const std::string bytes = fromHex(message);
    const Data known(bytes.begin(), bytes.end());
    EXPECT_EQ(messageLike(known, plain, password), known) << plain;
    expectBody(plain, password, known);
  }
  // More keys than are kept, and each of them again.
  for (const char* password : {"1", "2", "3", "4", "5", "6", "1", "2", "3", "4", "5", "6"})
    expectBody("", password, {});
}

}  // namespace
}  // namespace trovix::test
