#pragma once

#include "trovix/platform/DeviceFacts.h"

namespace trovix {

/// Whether the executable lies in an application extension.
[[nodiscard]] inline bool isAppExtension(const platform::Bundle& bundle) {
  const auto path = bundle.executablePath();
  return path && path->find(".appex/") != std::string::npos;
}

}  // namespace trovix
