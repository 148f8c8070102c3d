#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace trovix::platform {

/// Whether a binary property list is whole and harmless: every object inside the bytes, no object inside itself,
/// nesting within the bound, and no more content than fits in memory once shared objects are copied.
[[nodiscard]] bool isSafeBinaryPropertyList(std::span<const std::uint8_t> bytes);

/// An XML property list without its comments, or nothing when it nests too deep or uses constructs that no property
/// list needs (entities of its own, CDATA sections).
[[nodiscard]] std::optional<std::string> safeXmlPropertyList(std::string_view text);

}  // namespace trovix::platform
