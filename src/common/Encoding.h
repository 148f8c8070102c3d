#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix {

/// Escapes what a URL query may not hold; "&", "=", "?", "/" and "+" stay, "%" does not.
[[nodiscard]] std::string TXSDKPercentEscapes(std::string_view text);
/// The same, and "!*'();:@&=+$,/?%#[]" too.
[[nodiscard]] std::string txsdk_escapeString(std::string_view text);
/// "?k=v&..." in enumeration order, or nothing for an empty dictionary. A value that is not text is logged and
/// leaves its separator behind.
[[nodiscard]] std::optional<std::string> txsdk_queryString(const Dictionary& parameters);

/// JSON text, or "" (and an error line) when the dictionary cannot be written.
[[nodiscard]] std::string txsdk_stringify(const Dictionary& dictionary);
/// Parses JSON whose root is not an array; no data is code 62, an array code 60.
Result<Value> txsdk_json(const std::optional<Data>& data, bool allowFragments = false);

}  // namespace trovix
