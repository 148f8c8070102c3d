#include <cstdlib>

#include "collector/Checks.h"
#include "collector/Inspector.h"
#include "support/Testing.h"

// Known answers, made with independent tools.
namespace trovix::collector {

constexpr const char* testKey = "kVx2pQ9sLmN4";

TEST(CollectorChecks, OpensKnownBodies) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"", testKey, "251472a3150eaa80de2b072889e31311000102030405060708090a0b0c0d0e0f0000000000000000"},
      {R"({"uid":"1612345678901-1234567","counter":"1"})", testKey,
       "d26066378232da570203f5b38ccd08e11f10d627dd678e29843e16e143f6b0720ae5f62d2f52be2513106218cf8a2eab"
       "f0e1d2c3b4a5968778695a4b3c2d1e0f0000000000000000"},
      {"{\"name\":\"Zoë ☕\"}", "ключ разработчика",
       "ed8184cd420d177251fb7d2e3c9b806014e9ba4c2b6dc8c9d8fe51467c9d9a21"
       "0f0e0d0c0b0a090807060504030201000000000000000000"}};
  for (const auto& [plain, devKey, message] : cases) {
    const auto key = deriveBodyKey(devKey);
    ASSERT_TRUE(key);
    const std::string bytes = fromHex(message);
    EXPECT_EQ(openBody(bytes, *key), plain);
    EXPECT_EQ(openBody(bytes, *deriveBodyKey("another key")), std::nullopt) << plain;
    EXPECT_EQ(openBody(std::string_view(bytes).substr(1), *key), std::nullopt) << plain;
    EXPECT_EQ(openBody(std::string_view(bytes).substr(0, bytes.size() - 8), *key), std::nullopt) << plain;
  }
  for (const char* body : {"\xff", ""}) EXPECT_EQ(openBody(body, *deriveBodyKey("k")), std::nullopt);
}

TEST(CollectorChecks, VerifiesKnownChecksums) {
  // The five digits: simulator, development, integrity, counter, debugger.
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      {"1612345678.900000", "com.example.shop", testKey, "fd24352ea040118439801c1fdd0f709d", "01010"},
      {"1612345670.000000", "com.example.shop", testKey, "10fc13dd5f70af13b23950ea9436ea2c", "01010"},
      {"1760000009.999999", "example.trovix.demo", "aaaaaaaaaaa", "64d330491992e741a618b3b5f16f1494", "11111"},
      {"1760000005.123456", "a", "b", "c653017b36617e072b1af1d8104ca3ad", "01011"}};
  for (const auto& [timestamp, bundle, devKey, checksum, flags] : cases) {
    const double moment = std::strtod(timestamp, nullptr);
    const auto found = verifyChecksum(checksum, moment, bundle, devKey);
    ASSERT_TRUE(found) << timestamp;
    const auto digit = [](bool flag) { return flag ? '1' : '0'; };
    EXPECT_EQ(std::string({digit(found->simulator), digit(found->development), digit(found->integrity),
                           digit(found->counterValid), digit(found->debugger)}),
              flags);
    EXPECT_FALSE(verifyChecksum(checksum, moment + 0.00001, bundle, devKey));
    EXPECT_FALSE(verifyChecksum(checksum, moment, std::string(bundle) + "x", devKey));
    EXPECT_FALSE(verifyChecksum(checksum, moment, bundle, std::string(devKey) + "x"));
    // No single character may change, but a flag may turn into the other flag.
    std::size_t tolerated = 0;
    for (std::size_t i = 0; i < 32; ++i) {
      std::string altered = checksum;
      altered[i] = altered[i] == '0' ? '1' : '0';
      if (verifyChecksum(altered, moment, bundle, devKey)) ++tolerated;
    }
    EXPECT_EQ(tolerated, 5U);
  }
  for (const char* fallback : {"d7a1c0e93b5f4a2880c6e1f47b9d2e15", "d7a2c0e93b5f4a2880c6e1f47b9d2e15", ""})
    EXPECT_FALSE(verifyChecksum(fallback, 1612345678.9, "com.example.shop", testKey));
}

TEST(CollectorChecks, TakesTextOutsideAsciiAsTheClientsDo) {
  constexpr const char* ofNothing = "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad";
  EXPECT_EQ(keyedDigest("cl\u00e9", "cl\u00e9"), ofNothing);
  EXPECT_EQ(sha1Digest("a\U0001F511"), sha1Digest("a\xF0\x9F"));
}

TEST(CollectorChecks, VerifiesKnownSignatures) {
  constexpr const char* installation = "uid=1612345678901-1234567&app_id=id123456789";
  const std::string moment = "1614864612000";
  const auto get = [](const char* host, const std::string& target, Headers headers) {
    headers.emplace_back("Host", host);
    return Request{.method = "GET", .target = target, .headers = std::move(headers)};
  };
  const auto ddl = [](const char* signature, const char* timestamp) {
    return Request{.method = "POST",
                   .target = std::string("/v1.0/ios/id1?sdk_version=6.2&tx_sig=") + signature,
                   .headers = {{"Host", "dlsdk.example.test"}, {"Content-Type", "application/json"}},
                   .body = std::string(R"({"timestamp":")") + timestamp + "\"}"};
  };
  Request requests[] = {
      ddl("63b1d90cd00dd6c13e2cf39dc3b03e7f3fdab3228229a2607d77f1a46202f18d", "2021-03-04T13:30:12.000"),
      ddl("9d6d9decaf6fce9347287a67db66a79a59368a59fd4efd9f50f6f4e1b438ffeb", "2026-11-22T21:30:00.125"),
      get("skadsdk.example.test", std::string("/api/v1.0/rules?") + installation + "&currency=USD",
          {{"Tx-Timestamp", moment},
           {"Authorization", "171800e22bda3d9c73c100b887e880d0cdb4f9cb3c06324668e6c0af47c82ab5"}}),
      get("skadsdkless.example.test", std::string("/api/v1.0/conversion-value?") + installation,
          {{"Tx-Timestamp", moment},
           {"Authorization", "653b07c870e73c3153da98741f4ce129d5fdbc0487ba8d3f6adc8eef42aa81a0"}}),
      get("veyra.example.test", "/shortlink-sdk/v1/abc?id=1",
          {{"tx-timestamp", "1614864612"}, {"authorization", "7b99937f4f9ef17786532f1bb8cf6821a6cbdd87"}})};
  Inspector inspector(testKey);
  Inspector stranger("another key");
  const auto signature = [](Inspector& judge, const Request& request) {
    const Address address = addressOf(request);
    const auto record = judge.inspect(request, address, destinationOf(request.method, address.host, address.path));
    const Value* found = record.dictionary("checks")->find("signature");
    return found != nullptr ? std::string(found->boolValue() ? "right" : "wrong") : std::string("none");
  };
  for (Request& request : requests) {
    EXPECT_EQ(signature(inspector, request), "right") << request.target;
    EXPECT_EQ(signature(stranger, request), "wrong") << request.target;
    request.body = R"({"timestamp":"2021-03-04T13:30:12.001"})";
    for (auto& [name, value] : request.headers)
      if (equalIgnoringCase(name, "Tx-Timestamp")) value += "0";
    EXPECT_EQ(signature(inspector, request), "wrong") << request.target;
  }
}

}  // namespace trovix::collector
