#include "core/TrovixLibFixture.h"
#include "network/Endpoints.h"

namespace trovix::test {

struct LaunchLifecycleTest : TrovixLibFixture {
  LaunchLifecycleTest() { makeSdk(); }
};

TEST_F(LaunchLifecycleTest, TellsFirstLaunchColdStartAndReturnApart) {
  const auto first = start();
  ASSERT_THAT(sent("conversions."), SizeIs(1));
  EXPECT_THAT(sent("conversions.")[0].url, StartsWith("https://conversions.trovix.example/api/v6.2/iosevent?"));
  EXPECT_EQ(storage().stringForKey("TrovixInstallTimestamp"), "1700000000.000000");
  ASSERT_THAT(*first, SizeIs(1));
  EXPECT_EQ(first->at(0).data, (Dictionary{{"statusCode", 200}}));

  // The gap must be longer than five seconds; an equal one is skipped.
  for (const double seconds : {3.0, 2.0}) {
    device->advance(seconds);
    const auto skipped = start();
    ASSERT_THAT(*skipped, SizeIs(1));
    EXPECT_EQ(skipped->at(0).error,
              Error("example.trovix.sdk.event", 10,
                    {{Error::localizedDescriptionKey, "Event timeout. Check `minTimeBetweenSessions` param"}}));
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

TEST_F(LaunchLifecycleTest, SeesWhatAnotherProcessOfTheGroupStoredAtTheStartOfAJob) {
  beginProcess();
  device->bundle.info.set("TrovixAppGroupName", "group.shop");
  makeSdk();
  disk->suites["group.shop"]["TrovixInstallTimestamp"] = std::make_shared<const Value>("1.0");
  start();
  EXPECT_THAT(sent("launches."), SizeIs(1));
}

TEST_F(LaunchLifecycleTest, ReadsLaunchOptions) {
  namespace application = platform::application;
  const Dictionary link{{application::launchURLKey, "shop://cart?x=1"},
                        {application::launchSourceApplicationKey, "mail"}};
  const Dictionary web{{"activityType", application::browsingWebActivityType},
                       {"webpageURL", "https://shop.example/a"}};
  const Dictionary activity{
      {application::launchUserActivityDictionaryKey, Dictionary{{"type", "x"}, {"activity", web}}}};
  const std::tuple<const char*, std::optional<Dictionary>, bool, bool, bool, std::optional<std::string>> cases[] = {
      {"none", std::nullopt, false, false, true, std::nullopt},
      {"a link", link, true, false, false, "mail"},
      {"no link at all", Dictionary{{application::launchURLKey, "not a link"}}, false, false, true, std::nullopt},
      {"an activity", activity, true, true, true, std::nullopt}};
  for (const auto& [name, options, skipsDeferred, skipsUniversal, tellsRules, source] : cases) {
    SCOPED_TRACE(name);
    restart();
    sdk->setDisableSKAdNetwork(false);
    device->notificationCenter.post(application::didFinishLaunching, options);
    device->runUntilIdle();
    EXPECT_EQ(sdk->parts().session.skipDDLResult, skipsDeferred);
    EXPECT_EQ(sdk->parts().session.skipNextUniversalLinkAttribution, skipsUniversal);
    EXPECT_THAT(device->network.requestsTo("skadsdk."), SizeIs(tellsRules ? 1 : 0));
    EXPECT_EQ(sdk->parts().session.takeSourceApplication(), source);
  }
}

TEST_F(LaunchLifecycleTest, CountsSessionsAndReportsTheClosing) {
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
  const RecordedRequest report = device->network.requestsTo("stats.").at(0);
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
  namespace application = platform::application;
  device->notificationCenter.post(application::willTerminate);
  for (const auto& name : {application::didEnterBackground, application::didFinishLaunching}) {
    EXPECT_EQ(device->notificationCenter.observerCount(name), 0u) << name;
  }
  device->notificationCenter.post("TrovixArguments.URLs", Dictionary{});
  EXPECT_FALSE(URLComparisonEnabled());
  device->notificationCenter.post("TrovixArguments.URLs", Dictionary{{"Impression", "https://i.example/%@%@"}});
  EXPECT_TRUE(URLComparisonEnabled());
  EXPECT_EQ(endpointTemplate(Endpoint::impression), "https://i.example/%@%@");
}

TEST_F(LaunchLifecycleTest, UploadsItsLogWhileTheServerWantsIt) {
  device->network.answer("conversions.", Answer{.body = R"({"monitor":1})"});
  device->network.answer("launches.", Answer{.body = R"({"monitor":1})"});
  start();
  EXPECT_THAT(device->network.requestsTo("monitorsdk."), IsEmpty());
  device->advance(6);
  start();
  const RecordedRequest upload = device->network.requestsTo("monitorsdk.").at(0);
  EXPECT_THAT(upload.url(), HasSubstr("/remote-debug?app_id=1234567890&device_tracking_disabled=false"));
  EXPECT_THAT(upload.body(), HasSubstr("Turning ON RD"));
  sdk->setIsStopped(true);
  device->notificationCenter.post(platform::application::didEnterBackground);
  device->runUntilIdle();
  EXPECT_FALSE(sdk->parts().remoteDebugging.isRemoteDebugging());
  EXPECT_THAT(device->network.requestsTo("monitorsdk."), SizeIs(1));
}

}  // namespace trovix::test
