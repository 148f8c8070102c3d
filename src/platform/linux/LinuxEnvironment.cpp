#include "platform/linux/LinuxEnvironment.h"

#include <cstdlib>
#include <string>

namespace trovix::platform {

std::optional<std::string> LinuxEnvironment::variable(std::string_view name) const {
  const char* value = std::getenv(std::string(name).c_str());
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace trovix::platform
