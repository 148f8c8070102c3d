#pragma once

#include <atomic>
#include <string>

#include "trovix/platform/FileSystem.h"

namespace trovix::platform {

class DeviceProfile;

/// Files by system calls. `space` gives the device profile's word where it has one.
class LinuxFileSystem : public FileSystem {
 public:
  /// `stagingDirectory` lies on the same file system as what is written; it holds files on their way where a file
  /// cannot be made without a name, and is made when it is needed.
  LinuxFileSystem(std::string stagingDirectory, const DeviceProfile& profile);

  [[nodiscard]] bool exists(const std::string& path) const override;
  [[nodiscard]] std::size_t entryCount(const std::string& directory) const override;
  [[nodiscard]] std::vector<std::string> walk(const std::string& directory) const override;
  [[nodiscard]] bool isDirectory(const std::string& path) const override;
  Result<Data> read(const std::string& path, std::size_t limit) const override;
  Status writeAtomically(const std::string& path, const Data& bytes) override;
  Status remove(const std::string& path) override;
  Status createDirectories(const std::string& path) override;
  /// Where the file system keeps no birth times, a marker beside a directory keeps its time; files have none.
  [[nodiscard]] std::optional<double> creationTime(const std::string& path) const override;
  [[nodiscard]] std::optional<double> modificationTime(const std::string& path) const override;
  Result<FileSystemSpace> space(const std::string& path) const override;

 private:
  Status writeStaged(const std::string& path, const Data& bytes);

  const std::string stagingDirectory_;
  const DeviceProfile& profile_;
  std::atomic<bool> namelessFilesWork_{true};
  std::atomic<std::uint64_t> stagedCount_{0};
};

/// The time that the marker beside the directory keeps, ".NAME.created"; it is made from the directory's time of
/// change when it is missing. Nothing when the directory is not there or the marker cannot be made.
[[nodiscard]] std::optional<double> markedCreationTime(const std::string& directory);

}  // namespace trovix::platform
