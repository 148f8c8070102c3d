#pragma once

#include <cstdint>
#include <string>

#include "trovix/Error.h"

namespace trovix::platform {

/// The error of a code in urlErrorDomain, with its message and the address.
[[nodiscard]] Error urlLoadingError(std::int64_t code, const std::string& url);

/// The code in urlErrorDomain of what curl reports when a transfer fails.
[[nodiscard]] std::int64_t urlErrorCode(int curlCode) noexcept;

}  // namespace trovix::platform
