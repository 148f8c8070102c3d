#include "integration/Application.h"

namespace trovix::test {

TEST(LinksTest, EspLinksAreFollowedToTheApplicationsLink) {
  const char* mail = "https://click.mail.test/c/42?u=7";
  const auto redirectTo = [](const char* target) { return Array{Dictionary{{"redirect", target}, {"forever", true}}}; };
  // The second address holds what none may hold, and is followed all the same.
  World world({{"host:click.mail.test", redirectTo("https://one.mail.test/r")},
               {"host:one.mail.test", redirectTo("https://two.mail.test/r?u[]=a|b")},
               {"host:two.mail.test", redirectTo("https://shop.test/shoes?size=42")}});
  Application app(world, {world.directory / "device"});
  app.configure();
  app.delegate->onAppOpenAttribution = [&](const Dictionary& data) { app.hearing.hear({"attribution", data}); };
  app.sdk.setResolveDeepLinkURLs({{"click.mail.test", "one.mail.test", "two.mail.test"}});
  app.sdk.handleOpenURL(mail, std::nullopt);
  ASSERT_TRUE(eventually([&] { return !app.hearing.of("attribution").empty(); }));
  const Dictionary heard = app.hearing.of("attribution")[0].data;
  EXPECT_EQ(description(heard.find("tx_deeplink")), mail);
  EXPECT_EQ(description(heard.find("link")), "https://shop.test/shoes?size=42");
  EXPECT_EQ(textAt(heard, "tx_deeplink_r", "status"), "302");
  for (const Dictionary& request : world.collector.requests()) {
    EXPECT_NE(description(request.find("host")), "shop.test") << "the application's link is not for us to open";
    EXPECT_EQ(textAt(request, "headers", "tx-esp"), "6.2.2");
  }
}

TEST(LinksTest, TheDeferredLinkAndAShortLinkAreResolvedAndTheLatterTravelsWithTheNextLaunch) {
  World world;
  Application app(world, {world.directory / "device"});
  app.configure();
  app.hearDeepLinks();
  const auto deferred = app.hearing.of("deepLink");
  ASSERT_THAT(deferred, SizeIs(1));
  EXPECT_FALSE(deferred[0].error);
  EXPECT_EQ(description(deferred[0].data.find("deferred")), "1");
  EXPECT_EQ(textAt(world.received("DDL", 1)[0], "checks", "signature"), "1");

  const char* link = "https://vy.trovix.example/abc/xyz";
  app.sdk.continueUserActivity({{"activityType", "NSUserActivityTypeBrowsingWeb"}, {"webpageURL", link}}, {});
  ASSERT_TRUE(eventually([&] { return app.hearing.of("deepLink").size() == 2; }));
  EXPECT_EQ(description(app.hearing.of("deepLink")[1].data.find("deep_link_value")), "shoes");
  EXPECT_EQ(textAt(world.received("VeyraGet", 1)[0], "checks", "signature"), "1");
  app.launch();
  const Dictionary launch = world.received("Conversions", 1)[0];
  expectGenuine(launch);
  EXPECT_EQ(sent(launch, "deep_link_value"), "shoes");
}

}  // namespace trovix::test
