#include "network/Endpoints.h"

#include "support/Testing.h"

namespace trovix::test {

// Overrides last as long as the process, so this tells one story.
TEST(Endpoints, FillTheirTemplatesAndTakeOverrides) {
  EXPECT_EQ(TXSDKURLFormat(Endpoint::launches, {"", "example.test", "6.2", "event", "123", "6.2.2"}),
            "https://launches.example.test/api/v6.2/iosevent?app_id=123&buildnumber=6.2.2");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::uninstall, {"p-", "t", "6.2", "6.2.2", "123"}),
            "https://p-register.t/api/v6.2/iosevent?buildnumber=6.2.2&app_id=123");
  EXPECT_EQ(TXSDKURLFormat("100%% of %@ at %@", {std::nullopt, "a", "b"}), "100% of (null) at a");
  EXPECT_EQ(TXSDKURLFormat("%@/%@/%@", {"a", "b"}), "a/b/(null)");
  ASSERT_FALSE(URLComparisonEnabled());

  setURLComparisonEnabled();
  TXSDKUpdateURLs({{"Stats", "https://fixed.test/s?app=%@"},
                   {"Impression", "https://%@i.%@/x%%20%"},
                   {"VeyraGet", nullptr},
                   {"Nobody", "https://x"}});
  EXPECT_EQ(TXSDKURLFormat(Endpoint::stats, {"p", "host", "7"}), "https://fixed.test/s?app=7");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::impression, {"p", "host"}), "https://pi.host/x%20%");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::veyraGet, {"p", "host", "/a"}), "https://pveyra.host/a");
  EXPECT_EQ(TXSDKURLFormat(Endpoint::skConversionValue, {"p", "host", std::nullopt, "7"}),
            "https://(null)skadsdkless.7/api/v1.0/conversion-value?uid=(null)&app_id=id(null)")
      << "a missing argument ends the count early, and the host arguments fall away";
}

}  // namespace trovix::test
