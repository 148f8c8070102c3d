#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// The space of the file system that a path lies on.
struct FileSystemSpace {
  std::uint64_t freeBytes = 0;
  std::uint64_t totalBytes = 0;
};

/// Files by absolute path. Any thread. Errors carry errno in posixErrorDomain.
class TROVIX_API FileSystem {
 public:
  virtual ~FileSystem() = default;
  /// Whether there is anything of that path.
  [[nodiscard]] virtual bool exists(const std::string& path) const = 0;
  /// The number of entries of a directory, of any kind and name; not recursive. 0 when it cannot be read.
  [[nodiscard]] virtual std::size_t entryCount(const std::string& directory) const = 0;
  /// Full paths of everything below the directory, directories included, in no particular order. Links are not
  /// followed. Empty when it cannot be read.
  [[nodiscard]] virtual std::vector<std::string> walk(const std::string& directory) const = 0;
  /// False too when there is nothing of that path.
  [[nodiscard]] virtual bool isDirectory(const std::string& path) const = 0;
  /// The whole file, at most `limit` bytes; a larger one is an error (EFBIG).
  virtual Result<Data> read(const std::string& path, std::size_t limit) const = 0;
  /// Writes so that a reader sees the old file, the new one, or none, never a part.
  virtual Status writeAtomically(const std::string& path, const Data& bytes) = 0;
  /// Removes a file or an empty directory.
  virtual Status remove(const std::string& path) = 0;
  /// With all parents.
  virtual Status createDirectories(const std::string& path) = 0;
  /// Seconds since 1970.
  [[nodiscard]] virtual std::optional<double> creationTime(const std::string& path) const = 0;
  /// Seconds since 1970.
  [[nodiscard]] virtual std::optional<double> modificationTime(const std::string& path) const = 0;
  /// Of the file system that the path lies on.
  virtual Result<FileSystemSpace> space(const std::string& path) const = 0;
};

/// Whether a failed read may succeed later (too many open files, no memory, an interrupted call), so that what
/// could not be read must be kept.
[[nodiscard]] TROVIX_API bool isPassingFailure(const Error& error) noexcept;

}  // namespace trovix::platform
