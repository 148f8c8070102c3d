#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace trovix::platform {

/// A time zone's standing rule in the form of POSIX: "EST5EDT,M3.2.0,M11.1.0".
class PosixTimeZone {
 public:
  /// Nothing when the text is no such rule.
  static std::optional<PosixTimeZone> parse(std::string_view text);

  /// Seconds east of UTC at that moment (seconds since 1970).
  [[nodiscard]] std::int32_t offsetAt(std::int64_t moment) const noexcept;

  /// The day of a year on which the clock changes, and when.
  struct Change {
    enum class Kind : std::uint8_t {
      /// Day 1 to 365, February 29th never counted.
      julian,
      /// Day 0 to 365, February 29th counted.
      dayOfYear,
      /// The week's (5: last) day of the month.
      weekday,
    };
    Kind kind = Kind::weekday;
    std::int32_t day = 0;
    std::int32_t month = 1;
    std::int32_t week = 1;
    /// Local time of day; from -167 hours to 167.
    std::int32_t seconds = 7200;
  };

 private:
  std::int32_t standardOffset_ = 0;
  std::int32_t summerOffset_ = 0;
  bool hasSummerTime_ = false;
  Change begin_;
  Change end_;
};

}  // namespace trovix::platform
