#include <fmt/core.h>

#include "core/TrovixLibFixture.h"

namespace trovix::test {

constexpr double secondsPerYear = 365 * 86'400;
constexpr double sixtyDays = 60 * 86'400;

/// What becomes of times and intervals when the clock does what clocks do.
struct TimeTest : TrovixLibFixture {
  TimeTest() { makeSdk(); }
};

TEST_F(TimeTest, ReportsAClockThatWasSetAsItIsAndRecovers) {
  // A century has more seconds than 31 bits.
  const std::pair<double, const char*> cases[] = {{-10 * secondsPerYear, "-315360000"},
                                                  {100 * secondsPerYear, "3153600000"}};
  for (const auto& [change, passed] : cases) {
    SCOPED_TRACE(passed);
    disk = std::make_shared<SimulatedDisk>();
    restart();
    start();
    device->setNow(device->now() + change);
    device->notificationCenter.post(platform::application::didEnterBackground);
    EXPECT_EQ(start()->at(0).error.has_value(), change < 0) << "no session is shorter than none";
    if (change < 0) {
      restart();
      start();
    }
    EXPECT_EQ(lastSent("launches.").text("timepassedsincelastlaunch"), passed);
    EXPECT_EQ(lastSent("launches.").text("prev_session_dur"), passed);
    device->advance(60);
    start();
    EXPECT_EQ(lastSent("launches.").text("timepassedsincelastlaunch"), "60");
    EXPECT_EQ(lastSent("launches.").text("counter"), "3");
  }
}

TEST_F(TimeTest, DeliversWhatWasCachedUnderAnyClock) {
  const double origin = device->now();
  const std::pair<double, double> cases[] = {{0, 3600.5},
                                             {0, -20 * secondsPerYear},
                                             {10 * secondsPerYear, 0},
                                             {-30 * secondsPerYear, 0},
                                             {-30 * secondsPerYear, -40 * secondsPerYear}};
  for (const auto& [cachedAt, readAt] : cases) {
    SCOPED_TRACE(cachedAt);
    disk = std::make_shared<SimulatedDisk>();
    restart();
    networkDown();
    device->setNow(origin + cachedAt - 0.4);
    log("kept");
    beginProcess();
    device->setNow(origin + readAt);
    makeSdk();
    start();
    EXPECT_THAT(lastSent("inapps.").url, HasSubstr(fmt::format("&timeincache={:.4f}&", readAt - cachedAt)));
    EXPECT_EQ(lastSent("inapps.").text("iaecounter"), "1");
    EXPECT_EQ(cachedFileCount(), 0U);
  }
}

TEST_F(TimeTest, AsksAgainForAVerdictOfSixtyDaysUnlessItIsFromTheFuture) {
  device->network.answer("gcdsdk.", Answer{.body = R"({"iscache":false})"});
  const double receivedAt = device->now();
  const std::pair<double, std::size_t> cases[] = {{0, 1},
                                                  {sixtyDays, 1},
                                                  {-30 * secondsPerYear, 1},
                                                  {sixtyDays + 1, 2},
                                                  {sixtyDays + 30 * secondsPerYear, 3},
                                                  {sixtyDays, 3},
                                                  {0, 3}};
  for (const auto& [passed, fetched] : cases) {
    device->setNow(receivedAt + passed);
    sdk->getConversionData();
    device->runUntilIdle();
    EXPECT_THAT(device->network.requestsTo("gcdsdk."), SizeIs(fetched)) << passed;
  }
  EXPECT_THAT(successes, SizeIs(std::size(cases)));
}

TEST_F(TimeTest, WritesDatesInTheZoneOfTheirOwnMoment) {
  const double change = device->now() + 100;
  device->locale.daylightSavingFrom = change;
  start();
  EXPECT_EQ(lastSent("conversions.").text("firstLaunchDate"), "2023-11-14_171320-0500");
  device->setNow(change - 1);
  start();
  // The hour that the clock on the wall gains is no hour that passed.
  device->advance(2);
  ASSERT_TRUE(start()->at(0).error);
  device->advance(10);
  start();
  const SentEvent launch = lastSent("launches.");
  EXPECT_EQ(launch.text("timepassedsincelastlaunch"), "12");
  for (const char* old : {"firstLaunchDate", "date1", "date1_2"}) {
    EXPECT_EQ(launch.text(old), "2023-11-14_171320-0500") << old;
  }
  disk->deleteApp();
  beginProcess();
  device->locale.daylightSavingFrom = change;
  makeSdk();
  start();
  EXPECT_EQ(lastSent("conversions.").text("firstLaunchDate"), "2023-11-14_181511-0400");
}

TEST_F(TimeTest, KeepsASessionOfTwoHundredHours) {
  start();
  const std::size_t requests = device->network.requests.size();
  device->advance(std::chrono::hours(100));
  EXPECT_THAT(device->network.requests, SizeIs(requests)) << "nothing happens by itself";
  log("after a hundred hours");
  device->advance(std::chrono::hours(100) - std::chrono::milliseconds(400));
  device->notificationCenter.post(platform::application::didEnterBackground);
  EXPECT_EQ(device->queues.delayedCount(), 0U);
  start();
  const SentEvent launch = lastSent("launches.");
  EXPECT_EQ(launch.text("prev_session_dur"), "720000");
  EXPECT_EQ(launch.text("timepassedsincelastlaunch"), "720000");
  EXPECT_EQ(launch.text("sessioncounter"), "2");
  EXPECT_EQ(lastSent("inapps.").text("iaecounter"), "1");
}

}  // namespace trovix::test
