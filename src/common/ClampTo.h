#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace trovix {

/// The number as a narrower integer; the nearest there is when it does not fit.
template <typename T>
[[nodiscard]] constexpr T clampTo(std::int64_t number) noexcept {
  return static_cast<T>(std::clamp<std::int64_t>(number, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

}  // namespace trovix
