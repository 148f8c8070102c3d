#include "platform/linux/TimeZone.h"

#include <gtest/gtest.h>

#include "linux/TemporaryDirectory.h"

namespace trovix::platform {
namespace {

TEST(TimeZoneTest, KnowsSummerTimeOfNamedZones) {
  struct Case {
    const char* zone;
    std::int64_t moment;
    std::int32_t offset;
  };
  const Case cases[] = {
      // The last Sunday of March and of October 2023, 01:00 UTC, to the second.
      {"Europe/Berlin", 1679792399, 3600},
      {"Europe/Berlin", 1679792400, 7200},
      {"Europe/Berlin", 1698541199, 7200},
      {"Europe/Berlin", 1698541200, 3600},
      // After the last change that the database lists.
      {"Europe/Berlin", 2540246400, 7200},
      {"Europe/Berlin", 2524608000, 3600},
      {"Europe/Berlin", -2500000000, 3208},
      // South of the equator summer spans the new year.
      {"Australia/Sydney", 1704067200, 39600},
      {"Australia/Sydney", 1719792000, 36000},
      {"America/New_York", 1710053999, -18000},
      {"America/New_York", 1710054000, -14400},
      {"Asia/Kathmandu", 1704067200, 20700},
      {"UTC", 1704067200, 0},
      {"EST5EDT,M3.2.0,M11.1.0", 1710054000, -14400},
      {"<+0330>-3:30<+0430>,J79/24,J263/24", 1656633600, 16200},
      // The Irish form: winter time is the exception and runs over the new year.
      {"IST-1GMT0,M10.5.0,M3.5.0/1", 1704067200, 0},
      {"IST-1GMT0,M10.5.0,M3.5.0/1", 1719792000, 3600},
  };
  for (const Case& each : cases) {
    const auto zone = TimeZone::named(each.zone);
    ASSERT_NE(zone, nullptr) << each.zone;
    EXPECT_EQ(zone->offsetAt(each.moment), each.offset) << each.zone << " " << each.moment;
  }
  const auto berlin = TimeZone::named("Europe/Berlin");
  EXPECT_EQ(berlin->offsetAt(std::numeric_limits<std::int64_t>::max()), 3600);
  EXPECT_EQ(berlin->offsetAt(std::numeric_limits<std::int64_t>::min()), 3208);
}

TEST(TimeZoneTest, AgreesWithTheCLibrary) {
  ::setenv("TZ", "America/Sao_Paulo", 1);
  ::tzset();
  const auto zone = TimeZone::named("America/Sao_Paulo");
  ASSERT_NE(zone, nullptr);
  for (std::time_t moment = -3000000000; moment < 5000000000; moment += 86400 * 3 + 1800) {
    std::tm local{};
    ::localtime_r(&moment, &local);
    ASSERT_EQ(zone->offsetAt(moment), local.tm_gmtoff) << moment;
  }
  ::unsetenv("TZ");
  ::tzset();
}

TEST(TimeZoneTest, RefusesWhatIsNoZone) {
  for (const char* name : {"", "Nowhere/City", "../etc/passwd", "/etc/localtime", "Europe", "CET-1CEST,M13.1.0,M1.1.0",
                           "CET-999", "C1", "<CET", "CET-1CEST,M3.5.0,M10.5.0/3x"}) {
    EXPECT_EQ(TimeZone::named(name), nullptr) << name;
  }
  const std::string file = contentOf("/usr/share/zoneinfo/Europe/Berlin");
  const Data whole(file.begin(), file.end());
  ASSERT_NE(TimeZone::parse(whole), nullptr);
  // Cut anywhere, or with any byte of the headers changed: refused or read, never out of bounds.
  for (std::size_t size = 0; size < whole.size(); ++size) {
    static_cast<void>(TimeZone::parse(Data(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))));
  }
  for (std::size_t i = 4; i < whole.size(); ++i) {
    Data changed = whole;
    changed[i] = static_cast<std::uint8_t>(~changed[i]);
    if (const auto zone = TimeZone::parse(changed)) static_cast<void>(zone->offsetAt(1704067200));
  }
}

}  // namespace
}  // namespace trovix::platform
