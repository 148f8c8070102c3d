#pragma once

#include "trovix/Value.h"

namespace trovix::platform {

/// The value as a property list can hold it: without the nulls inside.
[[nodiscard]] Value withoutNulls(Value value);

}  // namespace trovix::platform
