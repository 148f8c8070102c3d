#pragma once

#include "trovix/platform/DeviceFacts.h"

namespace trovix::platform {

/// The process environment. The host must not change it while the library reads.
class LinuxEnvironment : public Environment {
 public:
  [[nodiscard]] std::optional<std::string> variable(std::string_view name) const override;
};

}  // namespace trovix::platform
