#include <atomic>

#include "trovix/platform/LinuxPlatform.h"
#include "trovix/platform/Platform.h"

namespace trovix::platform {
namespace {

std::atomic<Platform*> installed{nullptr};

}  // namespace

Platform& defaultPlatform() {
  if (auto* platform = installed.load()) return *platform;
  // Never destroyed: it ends its work when the process does.
  static auto* const made = new LinuxPlatform;
  return made->services();
}

void setDefaultPlatform(Platform& platform) { installed = &platform; }

}  // namespace trovix::platform
