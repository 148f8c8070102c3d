#include <cmath>

#include "core/EventValue.h"
#include "core/TrovixLibFixture.h"

namespace trovix::test {

struct EventDispatchTest : TrovixLibFixture {
  EventDispatchTest() { makeSdk(); }

  /// A request that is in the buffer once everything has run, unsent while the network holds it.
  void execute(std::uint64_t options, const std::string& name) {
    TrovixDictionary parameters;
    parameters.dict().set("dev_key", developerKey);
    parameters.dict().set("timestamp", name);
    sdk->parts().dispatch.executeRequestWithUrlString("https://" + name + ".test/", options, std::move(parameters), {});
    device->advance(0.001);
  }
  std::vector<std::string> names() const {
    std::vector<std::string> hosts;
    for (const auto& request : device->network.requests) {
      hosts.push_back(request.url().substr(8, request.url().find('.') - 8));
    }
    return hosts;
  }
};

TEST_F(EventDispatchTest, EncodesEventValues) {
  EXPECT_EQ(encodedEventValue(Dictionary{{"price", 9.99}, {"items", Array{"a", "b"}}}, true),
            "%7B%22price%22:9.99%2C%22items%22:%5B%22a%22%2C%22b%22%5D%7D");
  EXPECT_EQ(encodedEventValue(std::nullopt, true), "null");
  EXPECT_EQ(encodedEventValue(std::nullopt, false), "");
  EXPECT_EQ(encodedEventValue(Dictionary{{"when", Date{0}}}, true), "");
}

TEST_F(EventDispatchTest, RefusesWithoutADeveloperKeyAndWhileStopped) {
  sdk = std::make_unique<TrovixLib>(*device);
  const auto keyless = start();
  ASSERT_THAT(*keyless, SizeIs(1));
  EXPECT_EQ(keyless->at(0).error->localizedDescription(), "No dev key");
  EXPECT_EQ(sdk->parts().session.lastLaunchTime(), std::nullopt);

  makeSdk();
  sdk->setIsStopped(true);
  for (const auto& outcomes : {start(), log("bought")}) {
    ASSERT_THAT(*outcomes, SizeIs(1));
    EXPECT_EQ(outcomes->at(0).error->localizedDescription(), "Skipping event because `isStopTracking` enabled");
  }
  EXPECT_THAT(device->network.requests, IsEmpty());
  EXPECT_EQ(cachedFileCount(), 0u);
  // The launch counts all the same.
  EXPECT_TRUE(storage().stringForKey("TrovixInstallTimestamp"));
}

TEST_F(EventDispatchTest, SendsALaunchThatStandsBehindAnEvent) {
  sdk->setIsStopped(true);
  start();
  sdk->setIsStopped(false);
  sdk->logEvent("bought");
  device->advance(6);
  EXPECT_THAT(device->network.requests, IsEmpty());
  start();
  EXPECT_THAT(names(), testing::IsSupersetOf({"inapps", "launches"}));
}

TEST_F(EventDispatchTest, SendsEventsBehindTheLaunchAfterTheDelay) {
  sdk->logEvent("early");
  device->advance(0.5);
  EXPECT_THAT(device->network.requests, IsEmpty());
  EXPECT_EQ(cachedFileCount(), 1u);
  start();
  EXPECT_THAT(names(), ElementsAre("conversions", "gcdsdk", "inapps"));

  sdk->logEvent("late", Dictionary{{"a", 1}});
  device->advance(0.39);
  EXPECT_THAT(sent("inapps."), SizeIs(1));
  device->advance(0.01);
  const SentEvent late = lastSent("inapps.");
  EXPECT_EQ(late.text("eventName"), "late");
  EXPECT_EQ(late.text("eventvalue"), "%7B%22a%22:1%7D");
  EXPECT_EQ(sent("inapps.")[0].text("eventvalue"), "null");
  EXPECT_EQ(sent("conversions.")[0].text("eventvalue"), "");
  EXPECT_EQ(cachedFileCount(), 0u);
}

TEST_F(EventDispatchTest, OrdersTheBufferByTheFreshLaunchBitsOnly) {
  storage().setBool(true, "TrovixReadyToSendEvents");
  device->network.hold("first");
  execute(16, "first");
  execute(32, "launch");
  execute(16, "event");
  execute(544, "firstlaunch");
  execute(288, "cold");
  execute(160, "searchads");
  // What the network lost is in front of everything until the next one comes.
  device->network.answerOnce("first", Answer::failure(platform::urlError::timedOut));
  device->network.release("first");
  device->runUntilIdle();
  EXPECT_THAT(names(), ElementsAre("first"));
  execute(16, "last");
  EXPECT_THAT(names(), ElementsAre("first", "cold", "searchads", "first", "launch", "event", "firstlaunch", "last"));
}

TEST_F(EventDispatchTest, StampsCountersWhenTheRequestIsSent) {
  device->network.hold("conversions.");
  start();
  log("one");
  log("two");
  device->network.release("conversions.");
  device->runUntilIdle();
  EXPECT_EQ(lastSent("conversions.").text("counter"), "1");
  EXPECT_EQ(lastSent("conversions.").text("iaecounter"), "0");
  EXPECT_EQ(sent("inapps.")[0].text("iaecounter"), "1");
  EXPECT_EQ(sent("inapps.")[1].text("iaecounter"), "2");
}

TEST_F(EventDispatchTest, KeepsWhatTheNetworkLostAndCountsAnyAnswerAsDelivered) {
  networkDown();
  const auto outcomes = start();
  ASSERT_THAT(*outcomes, SizeIs(1));
  EXPECT_EQ(outcomes->at(0).data, (Dictionary{{"statusCode", 0}}));
  EXPECT_EQ(outcomes->at(0).error->code(), 40);
  EXPECT_EQ(storage().launchCnt(), 0);
  EXPECT_EQ(cachedFileCount(), 1u);
  // Conversion data is asked for after a failure too.
  EXPECT_THAT(device->network.requestsTo("gcdsdk."), SizeIs(1));

  networkUp();
  device->network.answer("conversions.", Answer{.status = 500});
  log("next");
  ASSERT_THAT(*outcomes, SizeIs(2));
  EXPECT_EQ(outcomes->at(1).data, (Dictionary{{"statusCode", 500}}));
  EXPECT_EQ(outcomes->at(1).error->code(), 50);
  EXPECT_EQ(storage().launchCnt(), 1);
  EXPECT_THAT(sent("inapps."), SizeIs(1));
  EXPECT_EQ(cachedFileCount(), 0u);
}

TEST_F(EventDispatchTest, ResendsAtTheStartWhatEarlierRunsLeftEvenWhileStopped) {
  start();
  networkDown();
  log("lost");
  EXPECT_EQ(cachedFileCount(), 1u);

  beginProcess();
  device->advance(100);
  sdk = std::make_unique<TrovixLib>(*device);
  sdk->setIsStopped(true);
  device->runUntilIdle();
  const SentEvent resent = lastSent("inapps.");
  EXPECT_EQ(resent.text("eventName"), "lost");
  EXPECT_THAT(resent.url, HasSubstr("&timeincache=100.0000&isCachedRequest=true"));
  EXPECT_EQ(cachedFileCount(), 0u);
}

TEST_F(EventDispatchTest, NeitherKeepsNorWaitsForWhatHasNoAddress) {
  start();
  sdk->setHost("no:port", std::nullopt);
  const auto outcomes = log("unsendable");
  ASSERT_THAT(*outcomes, SizeIs(1));
  EXPECT_TRUE(outcomes->at(0).error);
  EXPECT_EQ(cachedFileCount(), 0u);
  sdk->setHost("trovix.example", std::nullopt);
  device->network.answerOnce("inapps.", Answer::failure(platform::urlError::badURL));
  log("refused by the loader");
  EXPECT_EQ(cachedFileCount(), 0u);
  // A redirect to nowhere is not the event's fault.
  device->network.answerOnce("inapps.", Answer{.error = Error(urlErrorDomain, platform::urlError::badURL,
                                                              {{"NSErrorFailingURLStringKey", "nowhere"}})});
  log("redirected");
  EXPECT_EQ(cachedFileCount(), 1u);
  log("fine");
  EXPECT_EQ(cachedFileCount(), 0u);
  EXPECT_EQ(lastSent("inapps.").text("eventName"), "fine");
}

TEST_F(EventDispatchTest, WaitsForTheCompanionsLinkOnFreshLaunchesOnly) {
  const auto companion = std::make_shared<SimulatedAppLinkUtility>();
  device->classRegistry.classes["FBSDKAppLinkUtility"] = companion;
  sdk->enableFacebookDeferredApplinksWithClass("FBSDKAppLinkUtility");
  start();
  EXPECT_THAT(device->network.requests, IsEmpty());
  device->advance(2);
  companion->answer(std::optional<std::string>("shop://deferred"));
  device->runUntilIdle();
  EXPECT_EQ(*lastSent("conversions.").body.find("fb_ddl"),
            Value(Dictionary{{"link", "shop://deferred"}, {"ttr", "2"}}));
  device->advance(6);
  start();
  EXPECT_EQ(lastSent("launches.").text("fb_ddl"), "(missing)");
  EXPECT_THAT(companion->waiting, IsEmpty());
}

TEST_F(EventDispatchTest, SendsTheReceiptWithTheFirstLaunchAndTimingsWithTheNext) {
  device->fileSystem.place(*device->bundle.receipt, "receipt");
  device->advance(0.25);
  storage().setDictionary({{"rules", 1}}, "TrovixSKRules");
  device->network.answer("conversions.", Answer{.delay = 0.5});
  sdk->start();
  device->advance(1);
  const SentEvent first = lastSent("conversions.");
  EXPECT_EQ(first.text("installReceiptData"), R"({"data":{"receipt-data":"cmVjZWlwdA=="}})");
  EXPECT_EQ(*first.body.find("meta"), Value(Dictionary{{"first_launch", Dictionary{{"init_to_fg", 250}}}}));
  EXPECT_EQ(*first.body.find("asa_data"), Value(Dictionary{{"token", "attribution-token"}}));
  EXPECT_EQ(*first.body.find("sk_rules"), Value(Dictionary{{"rules", 1}}));
  // What has no JSON form stays away, and what can be taken only once is there again at the second attempt.
  sdk->setPartnerDataWithPartnerId("partner", Dictionary{{"ratio", std::nan("")}});
  device->network.answerOnce("launches.", Answer::failure(platform::urlError::timedOut));
  device->advance(6);
  start();
  device->advance(6);
  start();
  const auto launches = sent("launches.");
  ASSERT_THAT(launches, SizeIs(3));
  for (const SentEvent& attempt : {launches[0], launches[1]}) {
    EXPECT_EQ(*attempt.body.find("meta"),
              Value(Dictionary{{"first_launch", Dictionary{{"init_to_fg", 250}, {"from_fg", 0}, {"net", 500}}},
                               {"gcd", Dictionary{{"net", 0}, {"retries", 0}}},
                               {"error", Dictionary()}}));
    EXPECT_EQ(*attempt.body.find("partner_data"), Value(Dictionary()));
  }
  EXPECT_EQ(*launches[2].body.find("meta"), Value(Dictionary{{"error", Dictionary()}}));
  EXPECT_EQ(launches[0].text("sk_rules"), "(missing)");
}

TEST_F(EventDispatchTest, ComesToAnEndWithItsOwnerWhateverIsOnItsWay) {
  device->network.hold("conversions.");
  const auto launch = start();
  const auto event = std::make_shared<std::vector<Outcome>>();
  sdk->logEventWithEventName("late", std::nullopt, recordInto(event));
  sdk.reset();
  device->network.release("conversions.");
  device->advance(10);
  EXPECT_THAT(*launch, IsEmpty());
  EXPECT_THAT(*event, IsEmpty());
  EXPECT_EQ(cachedFileCount(), 1u);
}

}  // namespace trovix::test
