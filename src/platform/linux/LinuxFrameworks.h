#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "trovix/platform/Frameworks.h"

namespace trovix::platform {

class DeviceProfile;

/// The optional frameworks, answered from the profile's "frameworks" as it stands when they are asked. A framework
/// whose facts are all absent does not load, and its class is not there.
class LinuxFrameworks : public Frameworks {
 public:
  /// Told of every call of the ad network class: nothing for a registration, the value for an update.
  using AdNetworkObserver = std::function<void(std::optional<std::int64_t> value)>;

  LinuxFrameworks(const DeviceProfile& profile, AdNetworkObserver adNetworkObserver);
  ~LinuxFrameworks() override;

  [[nodiscard]] bool open(const std::string& path) override;
  [[nodiscard]] ASIdentifierManager* identifierManager() override;
  [[nodiscard]] ATTrackingManager* trackingManager() override;
  [[nodiscard]] ADClient* adClient() override;
  [[nodiscard]] AAAttribution* attribution() override;
  [[nodiscard]] SKAdNetworkClass* adNetwork() override;

 private:
  const DeviceProfile& profile_;
  const std::unique_ptr<ASIdentifierManager> identifierManager_;
  const std::unique_ptr<ATTrackingManager> trackingManager_;
  const std::unique_ptr<ADClient> adClient_;
  const std::unique_ptr<AAAttribution> attribution_;
  const std::unique_ptr<SKAdNetworkClass> adNetwork_;
};

}  // namespace trovix::platform
