#include "integration/Application.h"

namespace trovix::test {
namespace {

using testing::SizeIs;

Array forever(Dictionary answer) {
  answer.set("forever", true);
  return {answer};
}

Array redirectTo(const char* target) { return forever({{"redirect", target}}); }

constexpr const char* kMail = "https://click.mail.test/c/42?u=7";

TEST(LinksTest, EspLinksAreFollowedWithinTheirDomainsAndDeliveredWhateverHappens) {
  const struct {
    const char* name;
    Dictionary scenario;
    Array redirects;
    const char* resolved;
    const char* status;
  } cases[] = {
      {"two ESP hosts, then the application's link",
       {{"host:click.mail.test", redirectTo("https://one.mail.test/r")},
        {"host:one.mail.test", redirectTo("https://two.mail.test/r")},
        {"host:two.mail.test", redirectTo("https://shop.test/shoes?size=42")}},
       {"one.mail.test", "two.mail.test"},
       "https://shop.test/shoes?size=42",
       "302"},
      {"a link that is no redirect", {{"host:click.mail.test", forever({{"body", "hello"}})}}, {}, kMail, "200"},
      {"plain HTTP", {{"host:click.mail.test", redirectTo("http://one.mail.test/r")}}, {"one.mail.test"}, kMail, "-1"},
      {"a circle",
       {{"host:click.mail.test", redirectTo("https://click.mail.test/c")}},
       Array(16, "click.mail.test"),
       kMail,
       "-1"},
      {"no answer", {{"host:click.mail.test", forever({{"close", "beforeHeaders"}})}}, {}, kMail, "-1"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    World world(row.scenario);
    Application app(world, {world.directory / "device"});
    app.configure();
    app.sdk.setResolveDeepLinkURLs({{"click.mail.test", "one.mail.test", "two.mail.test"}});
    app.sdk.handleOpenURL(kMail, std::nullopt);
    const auto heard = app.hearing.of("attribution");
    ASSERT_THAT(heard, SizeIs(1));
    EXPECT_EQ(description(heard[0].data.find("tx_deeplink")), kMail);
    EXPECT_EQ(description(heard[0].data.find("link")), row.resolved);
    EXPECT_EQ(textAt(heard[0].data, "tx_deeplink_r", "res"), row.resolved);
    EXPECT_EQ(textAt(heard[0].data, "tx_deeplink_r", "status"), row.status);
    EXPECT_EQ(textAt(heard[0].data, "tx_deeplink_r", "redirects"),
              row.redirects.empty() ? "(missing)" : description(Value(row.redirects)));
    for (const Dictionary& request : world.collector.requests()) {
      EXPECT_NE(description(request.find("host")), "shop.test") << "the application's link is not for us to open";
      EXPECT_EQ(textAt(request, "headers", "tx-esp"), "6.2.2");
    }
  }
}

TEST(LinksTest, AShortLinkIsExpandedAndTravelsWithTheNextLaunch) {
  World world;
  Application app(world, {world.directory / "device"});
  app.configure();
  app.sdk.continueUserActivity({{"activityType", "NSUserActivityTypeBrowsingWeb"},
                                {"webpageURL", "https://vy.trovix.example/abc/xyz?voucher=SPRING10"}},
                               {});
  const auto heard = app.hearing.of("attribution");
  ASSERT_THAT(heard, SizeIs(1));
  EXPECT_EQ(description(heard[0].data.find("deep_link_value")), "shoes");
  EXPECT_EQ(description(heard[0].data.find("tx_sub1")), "xyz");
  EXPECT_EQ(description(heard[0].data.find("voucher")), "SPRING10");
  const Dictionary expansion = world.received("VeyraGet", 1)[0];
  EXPECT_EQ(textAt(expansion, "checks", "signature"), "1");
  EXPECT_EQ(description(expansion.find("path")), "/shortlink-sdk/v1/abc");
  app.launch();
  const Dictionary launch = world.received("Conversions", 1)[0];
  expectGenuine(launch);
  EXPECT_EQ(sent(launch, "deep_link_value"), "shoes");

  EXPECT_TRUE(world.collector.setScenario("VeyraGet", forever({{"status", 200}, {"body", "no such link"}})));
  app.sdk.handleOpenURL("https://vy.trovix.example/abc/gone", std::nullopt);
  const auto failed = app.hearing.of("attributionFailure");
  ASSERT_THAT(failed, SizeIs(1));
  EXPECT_EQ(description(failed[0].error->userInfo().find(Error::failingURLStringKey)),
            "https://veyra.trovix.example/shortlink-sdk/v1/abc?id=gone");
}

TEST(LinksTest, TheDeferredDeepLinkIsAskedForOnceAnInstallAndNotWaitedForTooLong) {
  World world;
  const Device device{world.directory / "device"};
  {
    Application app(world, device);
    app.configure();
    app.hearDeepLinks();
    const auto heard = app.hearing.of("deepLink");
    ASSERT_THAT(heard, SizeIs(1));
    EXPECT_FALSE(heard[0].error);
    EXPECT_EQ(description(heard[0].data.find("deep_link_value")), "shoes");
    EXPECT_EQ(description(heard[0].data.find("deferred")), "1");
    EXPECT_EQ(textAt(world.received("DDL", 1)[0], "checks", "signature"), "1");
    app.launch();
    world.received("Conversions", 1);
  }
  {
    Application app(world, device);
    app.configure();
    app.hearDeepLinks();
    app.launch();
    world.received("Launches", 1);
    EXPECT_TRUE(app.comesToRest());
    EXPECT_THAT(world.collector.requestsOfKind("DDL"), SizeIs(1));
  }
  EXPECT_TRUE(world.collector.setScenario("DDL", forever({{"delay", 600}})));
  Application app(world, {world.directory / "slow"});
  app.configure();
  app.sdk.setDeepLinkTimeout(150);
  app.hearDeepLinks();
  const auto heard = app.hearing.of("deepLink");
  ASSERT_THAT(heard, SizeIs(1));
  ASSERT_TRUE(heard[0].error);
  EXPECT_EQ(heard[0].error->localizedDescription(), "Resolve DeepLink timeout");
  EXPECT_EQ(heard[0].error->code(), 10);
}

}  // namespace
}  // namespace trovix::test
