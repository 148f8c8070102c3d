#include "network/Endpoints.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace trovix::test {
namespace {

TEST(Endpoints, FillTheDefaultTemplates) {
  const std::pair<const char*, const char*> expected[] = {
      {"Launches", "launches.t/api/v3/ios4?app_id=5&buildnumber=6"},
      {"Conversions", "conversions.t/api/v3/ios4?app_id=5&buildnumber=6"},
      {"Attr", "attr.t/api/v3/ios4?app_id=5&buildnumber=6"},
      {"InApps", "inapps.t/api/v3/ios4?app_id=5&buildnumber=6"},
      {"AdRevenue", "adrevenue.t/api/v3/ios?app_id=4&buildnumber=5"},
      {"GCD", "gcdsdk.t/install_data/v4.0/id3?devkey=4&device_id=5"},
      {"RemoteDebug", "monitorsdk.t/remote-debug?app_id=3&device_tracking_disabled=4"},
      {"ReceiptValidationInApp", "validate.t/api/v3/iosevent?app_id=4&buildnumber=5"},
      {"ReceiptValidation",
       "sdk-services.t/validate-ios-receipt-server?app_id=3&trovix_id=4&dev_key=5&sandbox=6&tran_id=7&JBDevice=8"},
      {"Uninstall", "register.t/api/v3/iosevent?buildnumber=4&app_id=5"},
      {"Stats", "stats.t/stats?app_id=3"},
      {"Impression", "impression.t"},
      {"VeyraGet", "veyra.t3"},
      {"VeyraCreate", "veyra.t/shortlink-sdk/v1/3"},
      {"DDL", "dlsdk.t/v1.0/ios/id3?sdk_version=4&tx_sig=5"},
      {"SKRules", "skadsdk.t/api/v1.0/rules?uid=3&app_id=id4&currency=5"},
      {"SKConversionValue", "skadsdkless.t/api/v1.0/conversion-value?uid=3&app_id=id4"},
  };
  static_assert(std::size(expected) == kEndpointCount);
  for (std::size_t i = 0; i < kEndpointCount; ++i) {
    const auto endpoint = static_cast<Endpoint>(i);
    EXPECT_STREQ(endpointKindName(endpoint), expected[i].first);
    EXPECT_EQ(TXSDKURLFormat(endpoint, {"p-", "t", "3", "4", "5", "6", "7", "8"}),
              std::string("https://p-") + expected[i].second);
  }
}

// Overrides last as long as the process, so this tells one story.
TEST(Endpoints, OverridesMayKeepOrDropTheHostArguments) {
  EXPECT_EQ(TXSDKURLFormat("100%% of %@ at %@", {std::nullopt, "a", "b"}), "100%% of (null) at a");
  EXPECT_EQ(TXSDKURLFormat("%@/%@/%@", {"a", "b"}), "a/b/(null)");
  ASSERT_FALSE(URLComparisonEnabled());

  SimulatedDevice device;
  LogCapture log(device);
  setURLComparisonEnabled();
  TXSDKUpdateURLs({{"Stats", "https://fixed.test/s?app=%@"},
                   {"Impression", "https://%@i.%@/x"},
                   {"VeyraGet", nullptr},
                   {"Nobody", "https://x"}});
  EXPECT_TRUE(log.has("Overriding URL format for: Nobody with: https://x"));

  EXPECT_EQ(TXSDKURLFormat(Endpoint::stats, {"p", "host", "7"}), "https://fixed.test/s?app=7");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::impression, {"p", "host"}), "https://pi.host/x");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::veyraGet, {"p", "host", "/a"}), "https://pveyra.host/a");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::skConversionValue, {"p", "host", std::nullopt, "7"}),
            "https://(null)skadsdkless.7/api/v1.0/conversion-value?uid=(null)&app_id=id(null)")
      << "a missing argument ends the count early, and the host arguments fall away";
}

}  // namespace
}  // namespace trovix::test
