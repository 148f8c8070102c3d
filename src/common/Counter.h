#pragma once

#include <cstdint>
#include <limits>

namespace trovix {

/// One more, or the most there can be: a counter that comes from a file may hold any number.
[[nodiscard]] constexpr std::int64_t successor(std::int64_t count) noexcept {
  return count == std::numeric_limits<std::int64_t>::max() ? count : count + 1;
}

}  // namespace trovix
