#include "common/Dates.h"

#include <fmt/core.h>

#include <cstdlib>

#include "platform/Text.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {

std::string TXSDKDateString(double secondsSince1970, const platform::Locale& locale) {
  const std::int32_t offset = locale.secondsFromGMT(secondsSince1970);
  const auto time = platform::calendarTime(secondsSince1970, offset);
  const int minutes = std::abs(offset / 60);
  return fmt::format("{:04}-{:02}-{:02}_{:02}{:02}{:02}{}{:02}{:02}", time.year, time.month, time.day, time.hour,
                     time.minute, time.second, offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

std::string TXSDKDateStringRD(double secondsSince1970, const platform::Locale& locale) {
  const auto time = platform::calendarTime(secondsSince1970, locale.secondsFromGMT(secondsSince1970));
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", time.year, time.month, time.day, time.hour, time.minute,
                     time.second);
}

std::string TXSDKDateStringSig(double secondsSince1970) {
  const auto time = platform::calendarTime(secondsSince1970, 0);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}", time.year, time.month, time.day, time.hour,
                     time.minute, time.second, time.millisecond);
}

}  // namespace trovix
