#include "network/Signing.h"

#include <stdexcept>

#include "network/TXSDKEvent.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

constexpr const char* developerKey = "kVx2pQ9sLmN4";

struct SigningTest : testing::Test {
  SimulatedDevice device;
  TXSDKChecksum checksum{device.environment, device.facts, device.integrity};
};

TEST_F(SigningTest, ChecksumsMatchKnownAnswers) {
  const std::tuple<double, const char*, const char*, bool, bool, bool, const char*> rows[] = {
      {1612345678.9, "com.example.shop", developerKey, false, false, false, "fd24352ea040118439801c1fdd0f709d"},
      {1612345670, "com.example.shop", developerKey, false, false, false, "10fc13dd5f70af13b23950ea9436ea2c"},
      {1760000009.999999, "example.trovix.demo", "aaaaaaaaaaa", true, true, true, "64d330491992e741a618b3b5f16f1494"},
      {1760000005.123456, "a", "b", false, false, true, "c653017b36617e072b1af1d8104ca3ad"}};
  for (const auto& [timestamp, bundleIdentifier, devKey, simulator, compromised, debugger, expected] : rows) {
    device.environment.variables.clear();
    if (simulator) device.environment.variables["SIMULATOR_DEVICE_NAME"] = "iPhone";
    device.integrity.isCompromised = compromised;
    device.integrity.hasDebugger = debugger;
    EXPECT_EQ(checksum.calculate(timestamp, bundleIdentifier, devKey, false), expected);
  }
}

TEST_F(SigningTest, ChecksumsTakeAnyNumberAndOldSystems) {
  for (const double odd : {1e308, -1e18, -0.5, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(checksum.calculate(odd, "", "", false).value_or("").size(), 32u) << odd;
  }
  device.facts.version = "8.4";
  device.facts.modelName = "iPhone Simulator";
  EXPECT_TRUE(checksum.isSimulator());
}

TEST(Signatures, MatchKnownAnswers) {
  const std::string now = millisecondTimestamp(1614864612);
  EXPECT_EQ(conversionRulesSignature(developerKey, now, "123456789", "1612345678901-1234567", "USD"),
            "171800e22bda3d9c73c100b887e880d0cdb4f9cb3c06324668e6c0af47c82ab5");
  EXPECT_EQ(conversionValueSignature(developerKey, now, "123456789", "1612345678901-1234567"),
            "653b07c870e73c3153da98741f4ce129d5fdbc0487ba8d3f6adc8eef42aa81a0");
  EXPECT_EQ(deferredDeepLinkSignature(developerKey, "2021-03-04T13:30:12.000"),
            "63b1d90cd00dd6c13e2cf39dc3b03e7f3fdab3228229a2607d77f1a46202f18d");
  EXPECT_EQ(linkAuthorization(developerKey, 1614864612.2).authorization, "7b99937f4f9ef17786532f1bb8cf6821a6cbdd87");

  EXPECT_EQ(hmacForKeyAndData("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(hmacForKeyAndData("Jefe", std::string_view("a\0b", 3)), hmacForKeyAndData("Jefe", "a"));
  EXPECT_EQ(hmacForKeyAndData("é", "a"), hmacForKeyAndData("", "a"));
  EXPECT_EQ(txsdk_swap("abcde"), "badce");
}

TEST_F(SigningTest, EventsAreSignedOverTheirParameters) {
  const std::pair<Value, const char*> rows[] = {
      {"1612345678.900000", "integrity:78"}, {"99999999999.5", "integrity:47"}, {-1612345678.9, "integrity:-78"}};
  for (const auto& [timestamp, reference] : rows) {
    TXSDKEvent event({{"timestamp", timestamp}, {"dev_key", developerKey}, {"bundleIdentifier", "b"}}, "x", "6.2.2",
                     32);
    event.sign(checksum);
    EXPECT_EQ(*event.parameters->string("ref"), reference);
    EXPECT_EQ(*event.parameters->string("cksm_v1"),
              checksum.calculate(timestamp.doubleValue(), "b", developerKey, false));
  }
}

struct BrokenFacts final : platform::Environment {
  std::optional<std::string> variable(std::string_view) const override { throw std::runtime_error("no environment"); }
};

TEST_F(SigningTest, EventsFailInWaysTheServerCanTell) {
  TXSDKEvent event({{"when", Date{1}}}, "https://x", "6.2.2", 32);
  EXPECT_FALSE(event.data());
  EXPECT_EQ(event.encryptWithData(std::nullopt), Data{255});
  EXPECT_EQ(event.encryptWithData(Data{}).size(), 16u + 16 + 8);

  const BrokenFacts environment;
  TXSDKChecksum broken(environment, device.facts, device.integrity);
  event.sign(broken);
  EXPECT_EQ(*event.parameters->string("cksm_v1"), "d7a2c0e93b5f4a2880c6e1f47b9d2e15");
}

}  // namespace
}  // namespace trovix::test
