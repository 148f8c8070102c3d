#include "platform/linux/LinuxClassRegistry.h"

#include <algorithm>

#include "platform/linux/DeviceProfile.h"

namespace trovix::platform {

void LinuxClassRegistry::registerClass(const std::string& name, std::shared_ptr<AppLinkUtility> utility) {
  const MutexLock lock(mutex_);
  classes_[name].swap(utility);
}

bool LinuxClassRegistry::hasClass(std::string_view name) const {
  {
    const MutexLock lock(mutex_);
    if (classes_.find(name) != classes_.end()) return true;
  }
  const auto facts = profile_.snapshot();
  const Value* listed = factAt(*facts, {"classes"});
  if (listed == nullptr || listed->array() == nullptr) return false;
  return std::any_of(listed->array()->begin(), listed->array()->end(),
                     [&](const Value& entry) { return entry.string() != nullptr && *entry.string() == name; });
}

std::shared_ptr<AppLinkUtility> LinuxClassRegistry::appLinkUtility(std::string_view name) const {
  const MutexLock lock(mutex_);
  const auto found = classes_.find(name);
  return found != classes_.end() ? found->second : nullptr;
}

}  // namespace trovix::platform
