#pragma once

#include <cstdint>

#include "trovix/Export.h"

namespace trovix::platform {

/// The device's two clocks. Any thread.
class TROVIX_API Clock {
 public:
  virtual ~Clock() = default;
  /// Wall clock, seconds since 1970; may be set back or forward at any time.
  [[nodiscard]] virtual double now() const = 0;
  /// Nanoseconds of a clock that never goes back.
  [[nodiscard]] virtual std::uint64_t monotonicNanoseconds() const = 0;
};

}  // namespace trovix::platform
