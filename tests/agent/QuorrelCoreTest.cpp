#include "quorrel/QuorrelCore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/SimulatedDevice.h"
#include "trovix/TrovixLib.h"

namespace quorrel {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using trovix::Dictionary;
using trovix::test::Answer;

struct SomeOtherConfig final : QuorrelConfig {
  SourceType sourceType() const override { return SourceType{7}; }
};

/// The vendor as a field of answers.
struct FakeAdjust final : AdjustSDK {
  void appDidLaunch(const ADJConfig& config) override { launched = config; }
  std::optional<ADJAttribution> attribution() override { return current; }
  std::optional<std::string> adid() override { return identifier; }

  std::optional<ADJConfig> launched;
  std::optional<ADJAttribution> current;
  std::optional<std::string> identifier = "adid-1";
};

class QuorrelCoreTest : public testing::Test {
 protected:
  QuorrelCoreTest() {
    device.network.defaultAnswer = {};
    device.network.answer("gcdsdk.", Answer{.body = R"({"campaign":"spring"})"});
    sdk.setDisableSKAdNetwork(true);
    sdk.setDisableCollectASA(true);
    observer->quorrelReferralsAttributionChanged = [this](const auto& notice) { notices.push_back(notice); };
    core.observeEventsFor(observer);
  }

  void prepareTrovix() {
    core.prepareWithConfigs({std::make_shared<QuorrelTrovixConfig>("AbCdEfGhIjKlMn", "1234567890")});
    device.runUntilIdle();
  }
  void becomeActive() {
    device.advance(6);
    device.notificationCenter.post(trovix::platform::application::didBecomeActive);
    device.runUntilIdle();
  }
  std::size_t sentCount(std::string_view urlPart) const { return device.network.requestsTo(urlPart).size(); }

  trovix::test::SimulatedDevice device;
  trovix::TrovixLib sdk{device};
  QuorrelCore core{sdk, device};
  std::shared_ptr<QuorrelObserver> observer = std::make_shared<QuorrelObserver>();
  std::vector<QRReferralsAttributionChangedInfo> notices;
};

TEST_F(QuorrelCoreTest, HandsOutWhatTheTrackingSdkDelivers) {
  device.network.hold("gcdsdk.");
  prepareTrovix();
  EXPECT_EQ(sdk.trovixDevKey(), "AbCdEfGhIjKlMn");
  EXPECT_EQ(sdk.appleAppID(), "1234567890");
  EXPECT_THAT(device.systemLog.lines, Contains("Starting TrovixLib..."));
  EXPECT_EQ(sentCount("conversions."), 1u);
  EXPECT_FALSE(core.readyStatus());
  EXPECT_THAT(core.retrievedAttributes(), IsEmpty());
  ASSERT_THAT(core.trackerIds(), SizeIs(1));
  EXPECT_EQ(core.trackerIds()[0].trackerId, sdk.getTrovixUID());

  device.network.release("gcdsdk.");
  device.runUntilIdle();
  constexpr const char* verdictText = R"({"campaign":"spring","is_first_launch":true})";
  EXPECT_TRUE(core.readyStatus());
  ASSERT_THAT(core.retrievedAttributes(), SizeIs(1));
  EXPECT_EQ(core.retrievedAttributes()[0].attribution, verdictText);
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_EQ(notices[0].source, SourceType{2});
  EXPECT_EQ(notices[0].attribution, verdictText);
  EXPECT_THAT(device.systemLog.lines, Contains(HasSubstr("QuorrelTrovixModule: onConversionDataSuccess - ")));

  // The link that opens the application takes the verdict's place.
  sdk.handleOpenURL("shop://cart?campaign=summer", std::nullopt);
  device.runUntilIdle();
  ASSERT_THAT(notices, SizeIs(2));
  EXPECT_THAT(*notices[1].attribution, HasSubstr(R"("campaign":"summer")"));
  EXPECT_THAT(device.systemLog.lines, Contains(HasSubstr("QuorrelTrovixModule: onAppOpenAttribution - ")));
  ASSERT_THAT(core.retrievedAttributes(), SizeIs(1));
  EXPECT_EQ(core.retrievedAttributes()[0].attribution, *notices[1].attribution);
}

TEST_F(QuorrelCoreTest, OnlyLogsFailures) {
  device.network.answer("gcdsdk.", Answer{.status = 500});
  prepareTrovix();
  sdk.performOnAppAttributionWithURL(std::nullopt);
  device.runUntilIdle();
  EXPECT_THAT(device.systemLog.lines, Contains(HasSubstr("QuorrelTrovixModule: onConversionDataFail - Error Domain=")));
  EXPECT_THAT(device.systemLog.lines,
              Contains(HasSubstr("QuorrelTrovixModule: onAppOpenAttributionFailure - Error Domain=")));
  EXPECT_FALSE(core.readyStatus());
  EXPECT_THAT(notices, IsEmpty());
}

TEST_F(QuorrelCoreTest, RestartsTheTrackingSdkWheneverTheApplicationBecomesActive) {
  prepareTrovix();
  becomeActive();
  EXPECT_EQ(sentCount("launches."), 1u);
  // Whatever became of the module.
  core.prepareWithConfigs({});
  EXPECT_EQ(sdk.delegate(), nullptr);
  becomeActive();
  EXPECT_EQ(sentCount("launches."), 2u);
  EXPECT_THAT(notices, SizeIs(2));
}

TEST_F(QuorrelCoreTest, KeepsTheOrderOfTheConfigurationsItKnows) {
  EXPECT_TRUE(core.readyStatus());
  core.prepareWithConfigs({std::make_shared<QuorrelAdjustConfig>("token"), std::make_shared<SomeOtherConfig>(), nullptr,
                           std::make_shared<QuorrelTrovixConfig>("AbCdEfGhIjKlMn", "id1234567890")});
  device.runUntilIdle();
  ASSERT_THAT(core.subModules(), SizeIs(2));
  EXPECT_EQ(core.subModules()[0]->config().sourceType(), SourceType::adjust);
  EXPECT_EQ(core.subModules()[1]->config().sourceType(), SourceType::trovix);
  EXPECT_FALSE(core.readyStatus()) << "nobody speaks for Adjust";
  EXPECT_THAT(core.trackerIds(), SizeIs(1));

  core.prepareWithConfigs({});
  EXPECT_TRUE(core.readyStatus());
  EXPECT_THAT(core.retrievedAttributes(), IsEmpty());
  EXPECT_STREQ(AttributionRetrieveSourceExt::sourceNameForSouce(SourceType{7}), "adjust");
}

TEST_F(QuorrelCoreTest, ReadsTheAttributionFromAdjustAgainAtEveryChange) {
  const auto adjust = std::make_shared<FakeAdjust>();
  core.setAdjustSDK(adjust);
  core.prepareWithConfigs({std::make_shared<QuorrelAdjustConfig>("token-1")});
  ASSERT_TRUE(adjust->launched);
  EXPECT_EQ(adjust->launched->appToken(), "token-1");
  EXPECT_EQ(adjust->launched->environment(), ADJEnvironmentProduction);
  EXPECT_FALSE(core.readyStatus());
  ASSERT_THAT(core.trackerIds(), SizeIs(1));
  EXPECT_EQ(core.trackerIds()[0].trackerId, "adid-1");

  const auto delegate = adjust->launched->delegate();
  adjust->current = ADJAttribution{Dictionary{{"network", "n"}}};
  delegate->adjustAttributionChanged(ADJAttribution{Dictionary{{"network", "stale"}}});
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_EQ(notices[0].source, SourceType{1});
  EXPECT_EQ(notices[0].attribution, R"({"network":"n"})");
  EXPECT_TRUE(core.readyStatus());
  EXPECT_THAT(core.retrievedAttributes(), SizeIs(1));

  // What has no JSON form has been delivered all the same.
  for (const auto& unwritable : {ADJAttribution{}, ADJAttribution{Dictionary{{"when", trovix::Date{0}}}}}) {
    adjust->current = unwritable;
    adjust->identifier.reset();
    delegate->adjustAttributionChanged(std::nullopt);
    EXPECT_EQ(notices.back().attribution, std::nullopt);
    EXPECT_TRUE(core.readyStatus());
    EXPECT_THAT(core.retrievedAttributes(), IsEmpty());
    EXPECT_THAT(core.trackerIds(), IsEmpty());
  }
}

}  // namespace
}  // namespace quorrel
