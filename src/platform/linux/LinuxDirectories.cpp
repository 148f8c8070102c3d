#include "platform/linux/LinuxDirectories.h"

#include <filesystem>
#include <system_error>

#include "trovix/platform/FileSystem.h"

namespace trovix::platform {

LinuxDirectories::LinuxDirectories(const std::string& container) {
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(container, failure);
  container_ = failure ? container : absolute.lexically_normal().string();
  while (container_.size() > 1 && container_.back() == '/') container_.pop_back();
}

Status LinuxDirectories::create(FileSystem& fileSystem) const {
  for (const std::string& path : {caches(), documents(), temporary()}) {
    if (Status status = fileSystem.createDirectories(path); !status) return status;
  }
  return success();
}

}  // namespace trovix::platform
