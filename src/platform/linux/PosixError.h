#pragma once

#include <cstring>
#include <string>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// What the system said (an errno) of that path.
[[nodiscard]] inline Error posixError(int code, const std::string& path) {
  return Error(posixErrorDomain, code,
               Dictionary{{Error::localizedDescriptionKey, Value(path + ": " + std::strerror(code))}});
}

}  // namespace trovix::platform
