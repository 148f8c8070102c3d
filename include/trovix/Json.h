#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix {

/// Compact JSON text of a dictionary; missing when it holds something that JSON has no form for. Any thread.
[[nodiscard]] TROVIX_API std::optional<std::string> jsonText(const Dictionary& dictionary);
/// The dictionary that a JSON text holds; missing when it does not parse or is something else. Any thread.
[[nodiscard]] TROVIX_API std::optional<Dictionary> dictionaryFromJson(std::string_view text);

}  // namespace trovix
