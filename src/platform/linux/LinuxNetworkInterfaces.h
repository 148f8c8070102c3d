#pragma once

#include "trovix/platform/DeviceFacts.h"

namespace trovix::platform {

class DeviceProfile;

/// The profile's interfaces, or the machine's when the profile lists none. Scoped proxies are the profile's.
class LinuxNetworkInterfaces : public NetworkInterfaces {
 public:
  explicit LinuxNetworkInterfaces(const DeviceProfile& profile) : profile_(profile) {}
  [[nodiscard]] std::vector<NetworkInterface> interfaces() const override;
  [[nodiscard]] std::optional<std::vector<std::string>> scopedProxies() const override;

 private:
  const DeviceProfile& profile_;
};

}  // namespace trovix::platform
