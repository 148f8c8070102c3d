#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "trovix/Value.h"

namespace trovix {

/// A copy of the text under the key; nothing when the key is missing or holds something else.
[[nodiscard]] inline std::optional<std::string> textAt(const Dictionary& fields, std::string_view key) {
  const std::string* text = fields.string(key);
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

}  // namespace trovix
