#pragma once

#include <cstdint>
#include <string_view>

namespace trovix::platform {

/// A hash of the text under a key drawn once for the process, so that nobody outside can choose texts that collide.
[[nodiscard]] std::uint64_t keyedHash(std::string_view text) noexcept;

}  // namespace trovix::platform
