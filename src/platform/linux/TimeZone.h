#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/PosixTimeZone.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// One zone of the time-zone database, read without touching the process's own. Immutable, any thread.
class TimeZone {
 public:
  /// The zone "Europe/Berlin" from the machine's database, or a POSIX rule ("CET-1CEST,M3.5.0,M10.5.0/3"); a null
  /// pointer when it is neither.
  static std::shared_ptr<const TimeZone> named(const std::string& name);
  /// A compiled zone (TZif, versions 1 to 4); a null pointer when it is damaged.
  static std::shared_ptr<const TimeZone> parse(const Data& file);

  /// Seconds east of UTC at that moment (seconds since 1970).
  [[nodiscard]] std::int32_t offsetAt(std::int64_t moment) const noexcept;

 private:
  friend class TimeZoneFile;
  // Offset i holds from moment i on, until the next.
  std::vector<std::int64_t> moments_;
  std::vector<std::int32_t> offsets_;
  std::int32_t firstOffset_ = 0;
  /// What holds after the last moment.
  std::optional<PosixTimeZone> rule_;
};

}  // namespace trovix::platform
