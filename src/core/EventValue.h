#pragma once

#include <optional>
#include <string>

#include "trovix/Value.h"

namespace trovix {

/// The "eventvalue" of a request: the values as escaped JSON. In-app events without values say "null", launches
/// nothing; values that JSON has no form for give "".
[[nodiscard]] std::string encodedEventValue(const std::optional<Dictionary>& values, bool isInAppEvent);

}  // namespace trovix
