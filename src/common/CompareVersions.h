#pragma once

#include <string_view>

namespace trovix {

/// Compares dotted version numbers numerically, component by component: -1, 0 or 1. A missing component counts as 0,
/// and what follows the digits of a component is not looked at.
[[nodiscard]] int compareVersions(std::string_view a, std::string_view b) noexcept;

}  // namespace trovix
