#pragma once

#include "trovix/platform/Clock.h"

namespace trovix::platform {

/// The kernel's clocks, the wall clock shifted by a constant.
class LinuxClock : public Clock {
 public:
  /// Seconds added to the wall clock.
  explicit LinuxClock(double offset = 0) noexcept : offset_(offset) {}

  [[nodiscard]] double now() const override;
  [[nodiscard]] std::uint64_t monotonicNanoseconds() const override;

 private:
  const double offset_;
};

}  // namespace trovix::platform
