#pragma once

#include <string>

#include "platform/Mutex.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix::platform {

class DeviceProfile;
class FileSystem;

/// The bundle as the device profile describes it. The profile's receipt is laid down as a file.
class LinuxBundle : public Bundle {
 public:
  /// `receiptPath` is where the receipt is, or would be.
  LinuxBundle(const DeviceProfile& profile, FileSystem& fileSystem, std::string receiptPath);

  [[nodiscard]] std::optional<Value> infoValue(std::string_view key) const override;
  [[nodiscard]] std::optional<std::string> identifier() const override;
  [[nodiscard]] std::optional<std::string> executablePath() const override;
  /// Brings the file in step with the profile first: written, or removed when the profile has none.
  [[nodiscard]] std::optional<std::string> receiptPath() const override;

 private:
  const DeviceProfile& profile_;
  FileSystem& fileSystem_;
  const std::string receiptPath_;
  mutable Mutex mutex_;
  /// The profile's receipt that the file stands for; nothing before the first look.
  mutable std::optional<std::optional<std::string>> laidDown_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
