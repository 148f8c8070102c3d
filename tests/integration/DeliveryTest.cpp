#include "integration/Application.h"

namespace trovix::test {
namespace {

TEST(DeliveryTest, WhatTheAbsentServerMissedIsDeliveredByTheNextProcess) {
  World world;
  const Device device{world.directory / "device"};
  {
    Application app(world, device);
    app.launch();
    world.received("Conversions", 1);
    EXPECT_TRUE(app.comesToRest());
    world.collector.stop();
    app.sdk.logEvent("first");
    ASSERT_TRUE(eventually([&] { return app.cached() == 1; }));
    app.sdk.logEvent("second");
    ASSERT_TRUE(eventually([&] { return app.cached() == 2; }));
    app.sdk.logEvent("third, still delayed when the process ends");
  }
  ASSERT_TRUE(world.collector.start());
  Application app(world, {device.directory, {}, 100});
  app.launch();
  std::vector<std::string> names;
  for (const Dictionary& event : world.received("InApps", 3)) {
    expectGenuine(event);
    names.push_back(sent(event, "iaecounter") + " " + sent(event, "eventName"));
    EXPECT_EQ(textAt(event, "query", "isCachedRequest"), "true");
    EXPECT_GE(Value(textAt(event, "query", "timeincache")).doubleValue(), 100);
  }
  EXPECT_THAT(names, ElementsAre("1 first", "2 second", "3 third, still delayed when the process ends"));
  world.received("Launches", 1);
  EXPECT_TRUE(app.comesToRest());
  EXPECT_EQ(app.cached(), 0U);
  EXPECT_THAT(world.collector.requestsOfKind("InApps"), SizeIs(3));
}

TEST(DeliveryTest, NoAnswerToTheLaunchStopsWhatFollows) {
  const auto redirect = [](const char* target) { return Dictionary{{"redirect", target}}; };
  const Dictionary otherTypes{{"vy_domain", 5}, {"vy_scheme", nullptr}, {"monitor", Array{1}}};
  const Dictionary middle{{"after", 2000}};
  // The answer, how often it is asked for, the code of the completion's error, and whether the launch is kept.
  const std::tuple<const char*, Dictionary, std::size_t, std::int64_t, bool> cases[] = {
      {"HTML", {{"body", "<html><body>Please log in</body></html>"}}, 1, 0, false},
      {"no body", {{"body", ""}}, 1, 0, false},
      {"nested too deep", {{"body", std::string(200'000, '[')}}, 1, 0, false},
      {"other types", {{"body", otherTypes}}, 1, 0, false},
      {"an unknown page", {{"status", 404}}, 1, 40, false},
      {"busy, and no end", {{"status", 503}, {"times", 3}}, 3, 50, false},
      {"no HTTP", {{"raw", "\x01\x02 220 mail.example ESMTP\r\n\r\n"}}, 1, 40, true},
      {"hung up at once", {{"close", "beforeHeaders"}}, 1, 40, true},
      {"half a body", {{"bodySize", 4000}, {"close", middle}}, 1, 40, true},
      {"reset in the body", {{"bodySize", 4000}, {"reset", middle}}, 1, 40, true},
      {"a body without end", {{"bodySize", 64 << 20}}, 1, 40, true},
      {"redirected in a circle", redirect("https://circle.example.test/"), 1, 40, true},
      {"redirected to a file", redirect("file:///etc/passwd"), 1, 40, true}};
  for (const auto& [name, answer, attempts, code, isKept] : cases) {
    SCOPED_TRACE(name);
    const Dictionary circle{{"redirect", "https://circle.example.test/"}, {"forever", true}};
    const World world({{"Conversions", Array{answer}}, {"host:circle.example.test", Array{circle}}});
    const Device device{world.directory / "device"};
    {
      Application app(world, device);
      app.launch();
      const auto completions = app.hearing.of("start");
      ASSERT_THAT(completions, SizeIs(1));
      EXPECT_EQ(completions[0].error ? completions[0].error->code() : 0, code);
      ASSERT_TRUE(app.comesToRest());
      EXPECT_EQ(app.cached(), isKept ? 1U : 0U);
      app.sdk.logEvent("afterwards");
      expectGenuine(world.received("InApps", 1)[0]);
      EXPECT_TRUE(app.comesToRest());
      EXPECT_EQ(app.cached(), 0U);
    }
    EXPECT_THAT(world.collector.requestsOfKind("Conversions"), SizeIs(attempts + (isKept ? 1 : 0)));
    Application app(world, device);
    app.launch();
    EXPECT_EQ(sent(world.received("Launches", 1)[0], "counter"), "2");
  }
}

TEST(DeliveryTest, NothingGoesToAServerThatIsNotWhatItSays) {
  for (const char* fault : {"expired", "wrongHost", "unknownAuthority"}) {
    SCOPED_TRACE(fault);
    World world({{"*", Array{Dictionary{{"tls", fault}, {"forever", true}}}}});
    Application app(world, {world.directory / "device"});
    app.launch();
    const auto completions = app.hearing.of("start");
    ASSERT_FALSE(completions.empty());
    ASSERT_TRUE(completions[0].error && completions[0].error->underlyingError() != nullptr);
    EXPECT_EQ(completions[0].error->underlyingError()->code(), -1202);
    EXPECT_TRUE(app.comesToRest());
    EXPECT_EQ(app.cached(), 1U);
    EXPECT_THAT(world.collector.requests(), IsEmpty());
  }
}

}  // namespace
}  // namespace trovix::test
