#pragma once

#include <optional>
#include <string_view>

#include "trovix/Value.h"

// A compact form for arrays and dictionaries, smaller than a property list, quicker to write, and read in less than
// half the time: a letter for the kind, then a number of eight bytes, or a length and the bytes, or a count and the
// elements.
namespace trovix::platform {

/// Nulls are left out. Nothing for what nests deeper or gets longer than a property list may.
[[nodiscard]] std::optional<Data> encodeCompactly(const Value& value);
/// Nothing when the bytes are damaged.
[[nodiscard]] std::optional<Value> decodeCompactly(std::string_view bytes);

}  // namespace trovix::platform
