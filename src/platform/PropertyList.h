#pragma once

#include <cstddef>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Bounds of a property list that is read.
inline constexpr std::size_t maximumPropertyListSize = 8 * 1024 * 1024;
inline constexpr std::size_t maximumPropertyListDepth = 64;

/// A binary property list. Nulls are left out, since the format has none.
Result<Data> writePropertyList(const Dictionary& dictionary);
/// Binary or XML; bounded in size and depth before it is parsed.
Result<Value> readPropertyList(const Data& bytes);

}  // namespace trovix::platform
