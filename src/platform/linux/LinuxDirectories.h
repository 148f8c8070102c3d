#pragma once

#include <string>

#include "trovix/Error.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix::platform {

class FileSystem;

/// The directories of an application's container: Library, Library/Caches, Documents and tmp.
class LinuxDirectories : public Directories {
 public:
  /// The path is made absolute.
  explicit LinuxDirectories(const std::string& container);

  [[nodiscard]] std::string library() const override { return container_ + "/Library"; }
  [[nodiscard]] std::string caches() const override { return container_ + "/Library/Caches"; }
  [[nodiscard]] std::string documents() const override { return container_ + "/Documents"; }
  [[nodiscard]] std::string temporary() const override { return container_ + "/tmp"; }
  [[nodiscard]] const std::string& container() const noexcept { return container_; }

  /// Makes those that are missing; the first failure.
  Status create(FileSystem& fileSystem) const;

 private:
  std::string container_;
};

}  // namespace trovix::platform
