#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Nothing from outside nests deeper than this, and nothing deeper is written, unless the caller says so.
inline constexpr std::size_t maximumJsonDepth = 64;

/// Domain of parser errors; the message is the parser's.
inline constexpr const char* jsonErrorDomain = "NSCocoaErrorDomain";
/// Code of text that does not parse, and of a value that cannot be written.
inline constexpr std::int64_t jsonCorruptCode = 3840;

/// Parses one JSON text in UTF-8: any root when fragments are allowed, else an object or an array. Duplicate
/// names: the last one wins. Integers past 64 bits become reals.
Result<Value> parseJson(std::string_view text, bool allowFragments = false, std::size_t depth = maximumJsonDepth);
Result<Value> parseJson(const Data& bytes, bool allowFragments = false);

/// Whether the value can be written: an object or array at the root, made of null, booleans, finite numbers,
/// text, arrays and dictionaries.
[[nodiscard]] bool isValidJsonObject(const Value& value) noexcept;
[[nodiscard]] bool isValidJsonObject(const Dictionary& dictionary, std::size_t depth = maximumJsonDepth) noexcept;

/// Compact text; reals in the fewest digits that read back exactly, "/" not escaped, ill-formed UTF-8 replaced by
/// U+FFFD.
Result<std::string> writeJson(const Value& value);
Result<std::string> writeJson(const Dictionary& dictionary, std::size_t depth = maximumJsonDepth);

}  // namespace trovix::platform
