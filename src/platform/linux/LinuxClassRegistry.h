#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/Mutex.h"
#include "trovix/platform/ClassRegistry.h"

namespace trovix::platform {

class DeviceProfile;

/// The profile's "classes", and those that the host registers.
class LinuxClassRegistry : public ClassRegistry {
 public:
  explicit LinuxClassRegistry(const DeviceProfile& profile) : profile_(profile) {}

  /// Makes a class known, or replaces it; a null pointer is a class that cannot fetch links. Any thread.
  void registerClass(const std::string& name, std::shared_ptr<AppLinkUtility> utility);
  [[nodiscard]] bool hasClass(std::string_view name) const override;
  [[nodiscard]] std::shared_ptr<AppLinkUtility> appLinkUtility(std::string_view name) const override;

 private:
  const DeviceProfile& profile_;
  mutable Mutex mutex_;
  std::map<std::string, std::shared_ptr<AppLinkUtility>, std::less<>> classes_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
