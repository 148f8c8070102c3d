#pragma once

#include <cstddef>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Bounds of a property list that is read or written. A receipt of the largest size fits.
inline constexpr std::size_t maximumPropertyListSize = std::size_t{32} * 1024 * 1024;
inline constexpr std::size_t maximumPropertyListDepth = 64;
/// What the format counts its dates from: 2001-01-01, in seconds since 1970.
inline constexpr double propertyListEpoch = 978307200;

/// Domain of what cannot be read or written.
inline constexpr const char* propertyListErrorDomain = "NSCocoaErrorDomain";

/// A binary property list. Nulls are left out, since the format has none.
Result<Data> writePropertyList(const Dictionary& dictionary);
/// Binary or XML; bounded in size and depth before it is parsed.
Result<Value> readPropertyList(const Data& bytes);

}  // namespace trovix::platform
