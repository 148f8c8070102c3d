#include "integration/Application.h"

namespace trovix::test {

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
