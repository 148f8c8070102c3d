#include "platform/linux/LinuxBundle.h"

#include <filesystem>

#include "platform/Text.h"
#include "platform/linux/DeviceProfile.h"
#include "trovix/platform/FileSystem.h"

namespace trovix::platform {

LinuxBundle::LinuxBundle(const DeviceProfile& profile, FileSystem& fileSystem, std::string receiptPath)
    : profile_(profile), fileSystem_(fileSystem), receiptPath_(std::move(receiptPath)) {}

std::optional<Value> LinuxBundle::infoValue(std::string_view key) const {
  return profile_.value({"bundle", "info", key});
}

std::optional<std::string> LinuxBundle::identifier() const { return profile_.string({"bundle", "identifier"}); }

std::optional<std::string> LinuxBundle::executablePath() const { return profile_.string({"bundle", "executablePath"}); }

std::optional<std::string> LinuxBundle::receiptPath() const {
  const std::optional<std::string> encoded = profile_.string({"bundle", "receipt"});
  const MutexLock lock(mutex_);
  if (laidDown_ && *laidDown_ == encoded) return receiptPath_;
  std::string receipt;
  if (encoded && base64Decode(*encoded, receipt)) {
    const std::string directory = std::filesystem::path(receiptPath_).parent_path();
    if (!fileSystem_.createDirectories(directory) ||
        !fileSystem_.writeAtomically(receiptPath_, Data(receipt.begin(), receipt.end()))) {
      return receiptPath_;
    }
  } else if (fileSystem_.exists(receiptPath_) && !fileSystem_.remove(receiptPath_)) {
    return receiptPath_;
  }
  laidDown_ = encoded;
  return receiptPath_;
}

}  // namespace trovix::platform
