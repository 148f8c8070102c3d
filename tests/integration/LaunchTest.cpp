#include "integration/Application.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::test {

TEST(LaunchTest, TheFirstLaunchBringsTheAttributionAndLaterOnesKeepIt) {
  World world;
  const Device device{world.directory / "device"};
  {
    Application app(world, device);
    auto observer = std::make_shared<quorrel::QuorrelObserver>();
    observer->quorrelReferralsAttributionChanged = [&app](const quorrel::QRReferralsAttributionChangedInfo& info) {
      app.hearing.hear({"observer", {{"attribution", info.attribution.value_or("")}}});
    };
    app.agent.observeEventsFor(observer);
    app.agent.prepareWithConfigs({std::make_shared<quorrel::QuorrelTrovixConfig>(devKey, "id1234567890")});
    const Dictionary install = world.received("Conversions", 1)[0];
    expectGenuine(install);
    EXPECT_EQ(sent(install, "counter"), "1");
    EXPECT_EQ(textAt(world.received("GCD", 1)[0], "query", "device_id"), app.sdk.getTrovixUID());
    ASSERT_THAT(app.hearing.of("observer"), SizeIs(1));
    const std::string kept = app.agent.retrievedAttributes().at(0).attribution;
    EXPECT_THAT(kept, HasSubstr(R"("media_source":"demo_network")"));
    EXPECT_EQ(description(app.hearing.of("observer")[0].data.find("attribution")), kept);
    EXPECT_TRUE(app.comesToRest());
    EXPECT_EQ(app.cached(), 0U);
    EXPECT_THAT(app.hearing.of("observer"), SizeIs(1)) << "told once";
  }
  Application app(world, device);
  app.launch();
  const Dictionary launch = world.received("Launches", 1)[0];
  expectGenuine(launch);
  EXPECT_EQ(sent(launch, "counter"), "2");
  EXPECT_EQ(description(app.hearing.of("conversionData").at(0).data.find("is_first_launch")), "0");
  EXPECT_TRUE(app.comesToRest());
  EXPECT_THAT(world.collector.requestsOfKind("GCD"), SizeIs(1)) << "served from what was kept";
  EXPECT_THAT(world.collector.requestsOfKind("Conversions"), SizeIs(1));
}

TEST(LaunchTest, APurchaseIsValidatedAndRaisesTheConversionValue) {
  World world({{"SKRules", Array{Dictionary{{"body", Dictionary{{"sk_rules", Dictionary{{"ex", 1}, {"di", 1}}}}}}}}});
  Application app(world, {world.directory / "device"});
  app.launch();
  world.received("Conversions", 1);
  app.platform.services().notificationCenter.post({platform::application::didFinishLaunching, std::nullopt});
  ASSERT_THAT(app.hearing.of("adNetworkRegistered"), SizeIs(1));
  EXPECT_EQ(textAt(world.received("SKRules", 1)[0], "checks", "signature"), "1");

  const auto accept = [&app](const Dictionary& response) { app.hearing.hear({"purchase", response}); };
  app.sdk.validateAndLogInAppPurchase("shoes", "9.99", "EUR", "T-1001", std::nullopt, accept, {});
  EXPECT_EQ(description(app.hearing.of("purchase").at(0).data.find("transaction_id")), "T-1001");
  EXPECT_EQ(description(app.hearing.of("conversionValue").at(0).data.find("value")), "10");
  const Dictionary purchase = world.received("ReceiptValidationInApp", 1)[0];
  expectGenuine(purchase);
  EXPECT_EQ(sent(purchase, "sk_upcv"), "10");
}

}  // namespace trovix::test
