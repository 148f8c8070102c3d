#pragma once

#include <string>

namespace trovix::platform {
class Locale;
}

namespace trovix {

/// "yyyy-MM-dd_HHmmssZ" in the device's time zone.
[[nodiscard]] std::string TXSDKDateString(double secondsSince1970, const platform::Locale& locale);
/// "yyyy-MM-dd HH:mm:ss" in the device's time zone.
[[nodiscard]] std::string TXSDKDateStringRD(double secondsSince1970, const platform::Locale& locale);
/// "yyyy-MM-dd'T'HH:mm:ss.SSS" in UTC.
[[nodiscard]] std::string TXSDKDateStringSig(double secondsSince1970);

}  // namespace trovix
