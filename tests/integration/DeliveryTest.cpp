#include "integration/Application.h"

namespace trovix::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Dictionary answer(std::initializer_list<Dictionary::Entry> fields) { return fields; }

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
  std::vector<std::string> names, counters;
  for (const Dictionary& event : world.received("InApps", 3)) {
    expectGenuine(event);
    names.push_back(sent(event, "eventName"));
    counters.push_back(sent(event, "iaecounter"));
    EXPECT_EQ(textAt(event, "query", "isCachedRequest"), "true");
    EXPECT_GE(Value(textAt(event, "query", "timeincache")).doubleValue(), 100);
  }
  EXPECT_THAT(names, ElementsAre("first", "second", "third, still delayed when the process ends"));
  EXPECT_THAT(counters, ElementsAre("1", "2", "3"));
  world.received("Launches", 1);
  EXPECT_TRUE(app.comesToRest());
  EXPECT_EQ(app.cached(), 0U);
  EXPECT_THAT(world.collector.requestsOfKind("InApps"), SizeIs(3));
}

enum class Fate { delivered, kept };

struct BadLaunch {
  const char* name;
  Dictionary answer;
  Fate fate;
  std::size_t attempts = 1;
  std::int64_t code = 0;  ///< of the completion's error; 0: none
};

std::vector<BadLaunch> badLaunches() {
  const auto redirect = [](const char* target) { return answer({{"redirect", target}, {"times", 1}}); };
  return {
      {"HTML", answer({{"body", "<html><body>Please log in</body></html>"}}), Fate::delivered},
      {"no body", answer({{"body", ""}}), Fate::delivered},
      {"nested too deep", answer({{"body", std::string(200'000, '[')}}), Fate::delivered},
      {"values of other types",
       answer({{"body", Dictionary{{"vy_domain", 5}, {"vy_scheme", nullptr}, {"monitor", Array{1}}}}}),
       Fate::delivered},
      {"an unknown page", answer({{"status", 404}}), Fate::delivered, 1, 40},
      {"busy, and no end", answer({{"status", 503}, {"times", 3}}), Fate::delivered, 3, 50},
      {"no HTTP", answer({{"raw", "\x01\x02 220 mail.example ESMTP\r\n\r\n"}}), Fate::kept, 1, 40},
      {"hung up at once", answer({{"close", "beforeHeaders"}}), Fate::kept, 1, 40},
      {"half a body", answer({{"bodySize", 4000}, {"close", Dictionary{{"after", 2000}}}}), Fate::kept, 1, 40},
      {"reset in the body", answer({{"bodySize", 4000}, {"reset", Dictionary{{"after", 2000}}}}), Fate::kept, 1, 40},
      {"a body without end", answer({{"bodySize", 64 << 20}}), Fate::kept, 1, 40},
      {"redirected in a circle", redirect("https://circle.example.test/"), Fate::kept, 1, 40},
      {"redirected to a file", redirect("file:///etc/passwd"), Fate::kept, 1, 40},
  };
}

TEST(DeliveryTest, NoAnswerToTheLaunchStopsWhatFollows) {
  for (const BadLaunch& bad : badLaunches()) {
    SCOPED_TRACE(bad.name);
    const World world({{"Conversions", Array{bad.answer}},
                       {"host:circle.example.test",
                        Array{answer({{"redirect", "https://circle.example.test/"}, {"forever", true}})}}});
    const Device device{world.directory / "device"};
    {
      Application app(world, device);
      app.launch();
      const auto completions = app.hearing.of("start");
      ASSERT_THAT(completions, SizeIs(1));
      EXPECT_EQ(completions[0].error ? completions[0].error->code() : 0, bad.code);
      ASSERT_TRUE(app.comesToRest());
      EXPECT_EQ(app.cached(), bad.fate == Fate::kept ? 1U : 0U);
      app.sdk.logEvent("afterwards");
      expectGenuine(world.received("InApps", 1)[0]);
      EXPECT_TRUE(app.comesToRest());
      EXPECT_EQ(app.cached(), 0U);
    }
    EXPECT_THAT(world.collector.requestsOfKind("Conversions"), SizeIs(bad.attempts + (bad.fate == Fate::kept ? 1 : 0)));
    Application app(world, device);
    app.launch();
    EXPECT_EQ(sent(world.received("Launches", 1)[0], "counter"), "2");
  }
}

TEST(DeliveryTest, ConversionDataSurvivesWhatTheServerMakesOfIt) {
  const std::pair<Dictionary, const char*> failures[] = {
      {answer({{"body", "<html>"}}), "<html>"},
      {answer({{"status", 403}, {"times", 3}, {"body", Dictionary{{"error_reason", "no such key"}}}}), "no such key"},
      {answer({{"close", Dictionary{{"after", 150}}}}), "Request failed"}};
  for (const auto& [bad, message] : failures) {
    SCOPED_TRACE(message);
    const World world({{"GCD", Array{bad, answer({{"status", 404}, {"body", "<html>nothing here</html>"}})}}});
    Application app(world, {world.directory / "device"});
    app.launch();
    const auto failed = app.hearing.of("conversionDataFailure");
    ASSERT_THAT(failed, SizeIs(1));
    EXPECT_EQ(failed[0].error->localizedDescription(), message);
    app.sdk.getConversionData();
    const auto organic = app.hearing.of("conversionData");
    ASSERT_THAT(organic, SizeIs(1));
    EXPECT_EQ(organic[0].data,
              (Dictionary{{"tx_status", "Organic"}, {"tx_message", "organic install"}, {"is_first_launch", true}}));
  }
}

TEST(DeliveryTest, NothingGoesToAServerThatIsNotWhatItSays) {
  for (const char* fault : {"expired", "wrongHost", "unknownAuthority"}) {
    SCOPED_TRACE(fault);
    World world({{"*", Array{answer({{"tls", fault}, {"forever", true}})}}});
    const Device device{world.directory / "device"};
    {
      Application app(world, device);
      app.launch();
      const auto completions = app.hearing.of("start");
      ASSERT_FALSE(completions.empty());
      ASSERT_TRUE(completions[0].error && completions[0].error->underlyingError() != nullptr);
      EXPECT_EQ(completions[0].error->underlyingError()->code(), -1202);
      EXPECT_TRUE(app.comesToRest());
      EXPECT_EQ(app.cached(), 1U);
      EXPECT_THAT(world.collector.requests(), IsEmpty());
    }
    ASSERT_TRUE(world.collector.setScenario("*", {}));
    Application app(world, device);
    app.launch();
    EXPECT_EQ(textAt(world.received("Conversions", 1)[0], "query", "isCachedRequest"), "true");
  }
}

}  // namespace
}  // namespace trovix::test
