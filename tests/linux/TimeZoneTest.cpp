#include "platform/linux/TimeZone.h"

#include "linux/TemporaryDirectory.h"

namespace trovix::platform {

TEST(TimeZoneTest, ChangesToTheSecond) {
  // The last Sunday of March and of October 2023, 01:00 UTC; and beyond all that the database lists.
  const std::pair<std::int64_t, std::int32_t> cases[] = {{1679792399, 3600}, {1679792400, 7200}, {1698541199, 7200},
                                                         {1698541200, 3600}, {INT64_MAX, 3600},  {INT64_MIN, 3208}};
  const auto berlin = TimeZone::named("Europe/Berlin");
  ASSERT_NE(berlin, nullptr);
  for (const auto& [moment, offset] : cases) EXPECT_EQ(berlin->offsetAt(moment), offset) << moment;
}

TEST(TimeZoneTest, AgreesWithTheCLibrary) {
  // Both hemispheres, and rules written out: the Irish one makes winter time the exception, over the new year.
  for (const char* name :
       {"America/Sao_Paulo", "America/New_York", "Australia/Sydney", "Europe/Berlin", "UTC", "Asia/Kathmandu",
        "EST5EDT,M3.2.0,M11.1.0", "<+0330>-3:30<+0430>,J79/24,J263/24", "IST-1GMT0,M10.5.0,M3.5.0/1"}) {
    ::setenv("TZ", name, 1);
    ::tzset();
    const auto zone = TimeZone::named(name);
    ASSERT_NE(zone, nullptr) << name;
    // Rules that are written out begin in 1970 for the C library.
    const std::time_t begin = std::string_view(name).find(',') == std::string_view::npos ? -3000000000 : 86400;
    for (std::time_t moment = begin; moment < 5000000000; moment += 86400 * 3 + 1800) {
      std::tm local{};
      ::localtime_r(&moment, &local);
      ASSERT_EQ(zone->offsetAt(moment), local.tm_gmtoff) << name << " " << moment;
    }
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

}  // namespace trovix::platform
