#include "core/TrovixLibFixture.h"
#include "network/Endpoints.h"

namespace trovix::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class LaunchLifecycleTest : public TrovixLibFixture {
 protected:
  Settings& settings() { return sdk->parts().settings; }
};

TEST_F(LaunchLifecycleTest, TellsFirstLaunchColdStartAndReturnApart) {
  makeSdk();
  const auto first = start();
  ASSERT_THAT(sent("conversions."), SizeIs(1));
  EXPECT_EQ(sent("conversions.")[0].url,
            "https://conversions.trovix.example/api/v6.2/iosevent?app_id=1234567890&buildnumber=6.2.2");
  EXPECT_EQ(storage().stringForKey("TrovixInstallTimestamp"), "1700000000.000000");
  ASSERT_THAT(*first, SizeIs(1));
  EXPECT_EQ(first->at(0).data, (Dictionary{{"statusCode", 200}}));
  EXPECT_EQ(first->at(0).error, std::nullopt);

  // The gap must be longer than five seconds; an equal one is skipped.
  for (const double seconds : {3.0, 2.0}) {
    device->advance(seconds);
    const auto skipped = start();
    ASSERT_THAT(*skipped, SizeIs(1));
    ASSERT_TRUE(skipped->at(0).error);
    EXPECT_EQ(skipped->at(0).data, std::nullopt);
    EXPECT_EQ(skipped->at(0).error->code(), 10);
    EXPECT_EQ(skipped->at(0).error->domain(), "example.trovix.sdk.event");
    EXPECT_EQ(skipped->at(0).error->localizedDescription(), "Event timeout. Check `minTimeBetweenSessions` param");
  }
  EXPECT_THAT(sent("launches."), IsEmpty());
  device->advance(0.5);
  start();
  EXPECT_THAT(sent("launches."), SizeIs(1));

  restart();
  start();
  EXPECT_THAT(sent("launches."), SizeIs(1));
  EXPECT_EQ(lastSent("launches.").text("counter"), "3");
}

TEST_F(LaunchLifecycleTest, RelaunchesWithSearchAdsDetailsOnceEvenAfterASkip) {
  makeSdk();
  sdk->setDisableCollectASA(false);
  start();
  EXPECT_THAT(*start(), SizeIs(1));
  device->advance(1);
  ASSERT_THAT(sent("attr."), SizeIs(1));
  EXPECT_NE(sent("attr.")[0].body.find("tx_iad_data"), nullptr);
  EXPECT_EQ(*sent("attr.")[0].body.dictionary("asa_data")->find("token"), Value("attribution-token"));
  EXPECT_TRUE(storage().dictionaryForKey("TrovixSearchAdsAttribution"));

  // What is cached is not asked for again.
  restart();
  sdk->setDisableCollectASA(false);
  start();
  device->advance(1);
  EXPECT_EQ(device->frameworks.searchAds.requestCount, 0u);
}

TEST_F(LaunchLifecycleTest, HandsOverFromTheAppClipThroughTheGroup) {
  device->bundle.info.set("TrovixAppClip", true);
  device->bundle.info.set("TrovixAppGroupName", "group.shop");
  makeSdk();
  start();
  EXPECT_EQ(lastSent("conversions.").text("app_type"), "app_clip");

  beginProcess();
  device->bundle.info.set("TrovixAppGroupName", "group.shop");
  makeSdk();
  EXPECT_THAT(device->console.text, HasSubstr("Trovix SDK migration: `group.shop`. Result: 1\n"));
  start();
  EXPECT_EQ(lastSent("launches.").text("wac"), "1");
  device->advance(0.4);
  EXPECT_EQ(lastSent("inapps.").text("eventName"), "tx_app_clip_to_full_app");
  EXPECT_FALSE(storage().boolForKey("TrovixIsAppClip"));
}

TEST_F(LaunchLifecycleTest, SeesWhatAnotherProcessOfTheGroupStoredAtTheStartOfAJob) {
  device->bundle.info.set("TrovixAppGroupName", "group.shop");
  makeSdk();
  disk->suites["group.shop"]["TrovixInstallTimestamp"] = std::make_shared<const Value>("1.0");
  start();
  EXPECT_THAT(sent("launches."), SizeIs(1));
}

TEST_F(LaunchLifecycleTest, PrintsItsBannerUnlessTheEnvironmentForbids) {
  makeSdk();
  EXPECT_EQ(device->console.text,
            "Trovix SDK version 6.2.2 started build (64);\nKeychain items migration status: 0 \n");
  beginProcess();
  device->environment.variables["TROVIX_DISABLE_LOGS"] = "";
  makeSdk();
  EXPECT_EQ(device->console.text, "");
}

TEST_F(LaunchLifecycleTest, ReadsLaunchOptions) {
  namespace application = platform::application;
  const struct {
    const char* name;
    std::optional<Dictionary> options;
    bool skipsDeferred, skipsUniversal, tellsRules;
    std::optional<std::string> source;
  } cases[] = {
      {"none", std::nullopt, false, false, true, std::nullopt},
      {"a link",
       Dictionary{{application::launchURLKey, "shop://cart?x=1"}, {application::launchSourceApplicationKey, "mail"}},
       true, false, false, "mail"},
      {"no link at all", Dictionary{{application::launchURLKey, "not a link"}}, false, false, true, std::nullopt},
      {"an activity",
       Dictionary{{application::launchUserActivityDictionaryKey,
                   Dictionary{{"type", "x"},
                              {"activity", Dictionary{{"activityType", application::browsingWebActivityType},
                                                      {"webpageURL", "https://shop.example/a"}}}}}},
       true, true, true, std::nullopt},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    beginProcess();
    makeSdk();
    sdk->setDisableSKAdNetwork(false);
    device->notificationCenter.post(application::didFinishLaunching, testCase.options);
    device->runUntilIdle();
    EXPECT_EQ(settings().skipDDLResult, testCase.skipsDeferred);
    EXPECT_EQ(settings().skipNextUniversalLinkAttribution, testCase.skipsUniversal);
    EXPECT_THAT(device->network.requestsTo("skadsdk."), SizeIs(testCase.tellsRules ? 1 : 0));
    EXPECT_EQ(sdk->parts().session.sourceApplication(), testCase.source);
  }
}

TEST_F(LaunchLifecycleTest, CountsSessionsAndReportsTheClosing) {
  makeSdk();
  start();
  device->advance(12.6);
  device->notificationCenter.post(platform::application::didEnterBackground);
  EXPECT_EQ(storage().doubleForKey("TrovixLastSessionDuration"), 13);
  EXPECT_EQ(storage().sessionCnt(), 2);
  EXPECT_THAT(device->network.requestsTo("stats."), IsEmpty());

  sdk->setIsBackgroundRequestEnabled(true);
  sdk->setAnonymizeUser(true);
  device->notificationCenter.post(platform::application::didEnterBackground);
  device->runUntilIdle();
  ASSERT_THAT(device->network.requestsTo("stats."), SizeIs(1));
  const RecordedRequest report = device->network.requestsTo("stats.")[0];
  EXPECT_EQ(report.url(), "https://stats.trovix.example/stats?app_id=1234567890");
  EXPECT_EQ(report.body(), R"({"app_id":"1234567890","devkey":"AbCdEfGhIjKlMn","uid":")" + sdk->getTrovixUID() +
                               R"(","statType":"user_closed_app","platform":"iOS",)"
                               R"("advertiserId":"7D3E5B21-90AC-4F6E-B1D8-0A4C9E6F2357","originalTrovixId":")" +
                               sdk->getOriginalTrovixId() + R"(","deviceTrackingDisabled":"true"})");

  sdk->setIsStopped(true);
  device->notificationCenter.post(platform::application::didEnterBackground);
  device->runUntilIdle();
  EXPECT_THAT(device->network.requestsTo("stats."), SizeIs(1));
}

TEST_F(LaunchLifecycleTest, HearsOnlyAddressOverridesAfterTermination) {
  makeSdk();
  const auto& center = device->notificationCenter;
  device->notificationCenter.post(platform::application::willTerminate);
  EXPECT_EQ(center.observerCount(platform::application::didEnterBackground), 0u);
  EXPECT_EQ(center.observerCount(platform::application::didFinishLaunching), 0u);
  EXPECT_EQ(center.observerCount(platform::application::willTerminate), 0u);
  device->notificationCenter.post("TrovixArguments.URLs", Dictionary{});
  EXPECT_FALSE(URLComparisonEnabled());
  device->notificationCenter.post("TrovixArguments.URLs", Dictionary{{"Impression", "https://i.example/%@%@"}});
  EXPECT_TRUE(URLComparisonEnabled());
  EXPECT_EQ(endpointTemplate(Endpoint::impression), "https://i.example/%@%@");
}

TEST_F(LaunchLifecycleTest, UploadsItsLogWhileTheServerWantsIt) {
  makeSdk();
  device->network.answer("conversions.", Answer{.body = R"({"monitor":1})"});
  device->network.answer("launches.", Answer{.body = R"({"monitor":1})"});
  start();
  EXPECT_THAT(device->network.requestsTo("monitorsdk."), IsEmpty());
  device->advance(6);
  start();
  ASSERT_THAT(device->network.requestsTo("monitorsdk."), SizeIs(1));
  const RecordedRequest upload = device->network.requestsTo("monitorsdk.")[0];
  EXPECT_THAT(upload.url(), HasSubstr("/remote-debug?app_id=1234567890&device_tracking_disabled=false"));
  EXPECT_THAT(upload.body(), HasSubstr("Turning ON RD"));
  sdk->setIsStopped(true);
  device->notificationCenter.post(platform::application::didEnterBackground);
  device->runUntilIdle();
  EXPECT_FALSE(sdk->parts().remoteDebugging.isRemoteDebugging());
  EXPECT_THAT(device->network.requestsTo("monitorsdk."), SizeIs(1));
}

TEST_F(LaunchLifecycleTest, SaysOnceThatNobodyServesTheMainQueue) {
  makeSdk();
  LogCapture log(*device);
  sdk->start();
  EXPECT_EQ(log.count("nobody serves the main queue"), 0u);
  device->queues.setMainQueueServed(false);
  sdk->start();
  sdk->start();
  EXPECT_EQ(log.count("nobody serves the main queue"), 1u);
}

}  // namespace
}  // namespace trovix::test
