#include "device/TXSDKiAdClient.h"

#include <cmath>

#include "support/LogCapture.h"
#include "trovix/Json.h"

namespace trovix {

struct TXSDKiAdClientTest : testing::Test {
  TXSDKiAdClientTest() { client.setQueue(queue); }

  AdvertisingIdentity identityNow() {
    AdvertisingIdentity identity;
    device.queues.runOn(*queue, [&] { identity = client.executeIDFARequest(); });
    return identity;
  }
  /// Notes the name, the reason and the second in which the answer comes.
  void ask(const std::string& name) {
    client.requestIDWithCompletionHandler([this, name](const AdvertisingIdentity& identity) {
      EXPECT_TRUE(queue->isCurrent());
      answers.push_back(fmt::format("{} {} @{:g}", name, identity.reason.value_or("read"), device.now() - start));
    });
    device.runUntilIdle();
  }
  void waitForConsent(double seconds) {
    device.frameworks.tracking.status = 0;
    client.addAdvertisingIdentifierObserverWithTimeoutInterval(seconds);
    device.runUntilIdle();
  }

  test::SimulatedDevice device;
  test::Owner owner;
  std::shared_ptr<platform::SerialQueue> queue = device.queues.makeSerialQueue("serial");
  FrameworkLoader loader{device.frameworks};
  TXSDKiAdClient client{loader, device.frameworks, device.facts, device.clock, device.queues, owner.lifetime()};
  const double start = device.now();
  std::vector<std::string> answers;
};

TEST_F(TXSDKiAdClientTest, StatusDecidesWhetherTheIdentifierIsRead) {
  using Reported = std::optional<std::int64_t>;
  const std::tuple<const char*, Reported, bool, std::string> cases[] = {
      {"13.7", 2, false, "-1 read"},
      {"14.0", 3, false, "3 read"},
      {"14", 0, false, "0 read"},
      {"17.2", 1, false, "1 Denied/Restricted"},
      {"17.2", 7, false, "7 No class/unknown"},
      {"17.2", Reported(), false, "-3 No class/unknown"},
      {"17.2", 3, true, "3 IDFA disabled"}};
  for (const auto& [system, reported, isDisabled, expected] : cases) {
    device.facts.version = system;
    device.frameworks.identifiers.identifier = "read";
    device.frameworks.tracking.status = reported;
    client.setDisableAdvertisingIdentifier(isDisabled);
    const AdvertisingIdentity got = identityNow();
    EXPECT_EQ(fmt::format("{} {}{}", got.trackingStatus, got.identifier, got.reason.value_or("")), expected);
    EXPECT_NE(got.isTrackingEnabled, got.reason.has_value()) << expected;
  }
}

TEST_F(TXSDKiAdClientTest, AFailedLoadIsNotTriedForever) {
  const test::LogCapture log(device);
  device.frameworks.missing = {"AdSupport", "AppTrackingTransparency"};
  EXPECT_EQ(identityNow().trackingStatus, -2);
  device.facts.version = "13.0";
  EXPECT_EQ(identityNow().trackingStatus, -1);
  device.frameworks.missing.clear();
  EXPECT_EQ(identityNow().reason, "No class/unknown");
  EXPECT_EQ(log.count("Failed to load library: AdSupport"), 1U);

  EXPECT_EQ(loader.txsdk_SKAdNetworkClass(), &device.frameworks.network);
  EXPECT_EQ(log.count("Dynamically loaded library: StoreKit"), 1U);
  EXPECT_EQ(device.frameworks.opened.back(), "/System/Library/Frameworks/StoreKit.framework/StoreKit");
}

TEST_F(TXSDKiAdClientTest, HandlersWaitForTheConsentAnswerInTheirOrder) {
  waitForConsent(60);
  ask("first");
  ask("second");
  device.advance(1.25);
  EXPECT_THAT(answers, IsEmpty());

  device.frameworks.tracking.status = 3;
  device.advance(0.5);
  ask("late");
  device.advance(0.5);
  EXPECT_EQ(device.queues.delayedCount(), 0U) << "the time-out is withdrawn with its wait";
  device.advance(120);
  EXPECT_THAT(answers, ElementsAre("first read @1.5", "second read @1.5", "late read @1.75"));
}

TEST_F(TXSDKiAdClientTest, TheLatestTimeOutAnswersEveryHandlerOnceWithoutTheMainQueue) {
  device.queues.setMainQueueServed(false);
  waitForConsent(10);
  ask("first");
  device.advance(8);
  waitForConsent(60);
  ask("second");
  device.advance(59.5);
  EXPECT_THAT(answers, IsEmpty());
  device.advance(0.5);
  ask("late");
  device.queues.setMainQueueServed(true);
  device.advance(60);
  EXPECT_THAT(answers, ElementsAre("first NotDetermined @68", "second NotDetermined @68", "late NotDetermined @68"));
}

TEST_F(TXSDKiAdClientTest, OddIntervalsAreTakenAsFarAsTheyMakeSense) {
  for (const double seconds : {0.0, -5.0, std::nan(""), -HUGE_VAL, HUGE_VAL, 1e300}) {
    waitForConsent(seconds);
    device.advance(60);
    EXPECT_EQ(client.didRegisterForATTUserAuthorization(), seconds > 0) << seconds;
  }
}

TEST_F(TXSDKiAdClientTest, WhatWaitsIsDroppedWithItsOwner) {
  waitForConsent(60);
  ask("first");
  client.requestAttributionDetails([](const Dictionary&) { ADD_FAILURE() << "called for an owner that is gone"; });
  owner.die();
  device.advance(120);
  EXPECT_THAT(answers, IsEmpty());
}

TEST_F(TXSDKiAdClientTest, SearchAdsAreAskedAgainAsTheCodeSays) {
  const std::pair<std::vector<std::int64_t>, const char*> cases[] = {
      {{1}, "ADClientErrorTrackingRestrictedOrDenied @0.75"},
      {{3}, "ADClientErrorCorruptResponse @6.75"},
      {{0, 6, 100}, "details @4.75"},
      {{2, 4, 5, 0}, "ADClientErrorUnknown @6.75"},
      {{2, 7}, "ADClientErrorUnsupportedPlatform @2.75"},
      {{-1}, "Unexpected @0.75"}};
  for (const auto& [codes, expected] : cases) {
    auto& searchAds = device.frameworks.searchAds;
    searchAds.answers.clear();
    for (const auto code : codes) searchAds.answers.emplace_back(Error("iAd", code));
    if (codes.back() == 100) searchAds.answers.back() = Dictionary{{"error", "details"}};
    const double asked = device.now();
    client.requestAttributionDetails([&](const Dictionary& answer) {
      EXPECT_TRUE(device.queues.globalQueue().isCurrent());
      answers.push_back(fmt::format("{} @{:g}", *answer.string("error"), device.now() - asked));
    });
    device.advance(30);
    EXPECT_THAT(std::exchange(answers, {}), ElementsAre(expected));
  }
}

TEST_F(TXSDKiAdClientTest, TheTokenNeedsVersion14Point3) {
  const auto token = [this] { return jsonText(client.appleAdsAttributionToken()); };
  device.facts.version = "14.2.9";
  EXPECT_EQ(token(), R"({"error":-2})");
  device.facts.version = "14.10";
  EXPECT_EQ(token(), R"({"token":"attribution-token"})");
  device.frameworks.tokens.token = Error("token", 1, {{Error::localizedDescriptionKey, "network"}});
  EXPECT_EQ(token(), R"({"error":1,"error_reason":"network"})");
  device.frameworks.tokens.responds = false;
  EXPECT_EQ(token(), R"({"error":-3})");
  client.setDisableAppleAdsAttribution(true);
  EXPECT_EQ(token(), R"({"error":-1})");
}

}  // namespace trovix
