#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "platform/Mutex.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix::platform {

class DeviceProfile;

/// The profile's word on the device; a debugger is whoever the kernel says traces the process, unless the profile
/// says otherwise.
class LinuxIntegrity : public Integrity {
 public:
  explicit LinuxIntegrity(const DeviceProfile& profile) : profile_(profile) {}

  /// False when the profile does not say.
  [[nodiscard]] bool isDeviceCompromised(bool skipAdvancedValidation) const override;
  /// As the kernel said within the last tenth of a second.
  [[nodiscard]] bool isDebuggerAttached() const override;
  /// Lower-case hexadecimal digits of a SHA-256. The code is digested once, each remainder once.
  [[nodiscard]] std::string runtimeIntegrity(std::int32_t remainder) const override;

 private:
  bool isTracedLately() const;

  const DeviceProfile& profile_;
  mutable std::atomic<bool> isTraced_{false};
  mutable std::atomic<std::int64_t> tracerKnownUntil_{0};
  mutable std::once_flag codeOnce_;
  mutable std::array<std::uint8_t, 32> codeDigest_{};
  mutable Mutex mutex_;
  mutable std::map<std::int32_t, std::string> answers_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
