#include "platform/linux/LinuxFileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <utility>

#include "platform/linux/DeviceProfile.h"
#include "platform/linux/PosixError.h"

namespace trovix::platform {
namespace {

constexpr mode_t fileMode = 0600;

/// An open file, closed at the end.
class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  ~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int get() const noexcept { return descriptor_; }

  /// 0 or errno.
  [[nodiscard]] int write(const Data& bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t count = ::write(descriptor_, bytes.data() + done, bytes.size() - done);
      if (count < 0 && errno != EINTR) return errno;
      if (count > 0) done += static_cast<std::size_t>(count);
    }
    return 0;
  }

 private:
  const int descriptor_;
};

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

double seconds(const timespec& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Gives a file without a name its name. 0 or errno; EEXIST when the name is taken.
int nameFile(const File& file, const std::string& path) {
  // The short way, which older kernels leave to the privileged.
  if (::linkat(file.get(), "", AT_FDCWD, path.c_str(), AT_EMPTY_PATH) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  const std::string link = fmt::format("/proc/self/fd/{}", file.get());
  return ::linkat(AT_FDCWD, link.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

std::uint64_t byteCount(std::optional<std::int64_t> number) {
  return number && *number > 0 ? static_cast<std::uint64_t>(*number) : 0;
}

}  // namespace

LinuxFileSystem::LinuxFileSystem(std::string stagingDirectory, const DeviceProfile& profile)
    : stagingDirectory_(std::move(stagingDirectory)), profile_(profile) {}

bool LinuxFileSystem::exists(const std::string& path) const {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

std::size_t LinuxFileSystem::entryCount(const std::string& directory) const {
  const File file(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!file.isOpen()) return 0;
  // Every event asks; a stream of the C library would take half as long again.
  alignas(dirent64) char buffer[4096];
  std::size_t count = 0;
  for (ssize_t size; (size = ::getdents64(file.get(), buffer, sizeof buffer)) > 0;) {
    for (ssize_t at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(buffer + at);
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") ++count;
      at += entry->d_reclen;
    }
  }
  return count;
}

std::vector<std::string> LinuxFileSystem::walk(const std::string& directory) const {
  namespace fs = std::filesystem;
  std::vector<std::string> paths;
  std::error_code failure;
  fs::recursive_directory_iterator entry(directory, fs::directory_options::skip_permission_denied, failure);
  // An entry that cannot be visited ends the walk; what was found so far counts.
  for (; !failure && entry != fs::recursive_directory_iterator(); entry.increment(failure)) {
    paths.push_back(entry->path().string());
  }
  return paths;
}

bool LinuxFileSystem::isDirectory(const std::string& path) const {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Result<Data> LinuxFileSystem::read(const std::string& path, std::size_t limit) const {
  // A pipe that somebody left there must not hold the caller up.
  const File file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.isOpen()) return posixError(errno, path);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return posixError(errno, path);
  if (!S_ISREG(status.st_mode)) return posixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
  if (std::cmp_greater(status.st_size, limit)) return posixError(EFBIG, path);
  // One byte more than the file has shows its end, or that it grew.
  Data bytes(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t size = 0;
  for (;;) {
    const ssize_t count = ::read(file.get(), bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return posixError(errno, path);
    size += static_cast<std::size_t>(count);
    if (size > limit) return posixError(EFBIG, path);
    if (count == 0) break;
    if (size == bytes.size()) bytes.resize(size * 2);
  }
  bytes.resize(size);
  return bytes;
}

Status LinuxFileSystem::writeAtomically(const std::string& path, const Data& bytes) {
  // A file that gets its name when it is complete leaves nothing behind, whenever the process ends.
  if (namelessFilesWork_.load(std::memory_order_relaxed)) {
    const File file(::open(parentOf(path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, fileMode));
    if (file.isOpen()) {
      if (const int code = file.write(bytes); code != 0) return posixError(code, path);
      const int code = nameFile(file, path);
      if (code == 0) return success();
      // Without a mounted /proc there is no way to the file.
      if (code == ENOENT && ::access("/proc/self/fd", F_OK) != 0) namelessFilesWork_ = false;
    } else if (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL) {
      namelessFilesWork_ = false;
    } else {
      return posixError(errno, path);
    }
  }
  return writeStaged(path, bytes);
}

Status LinuxFileSystem::writeStaged(const std::string& path, const Data& bytes) {
  const std::string draft = fmt::format("{}/{}-{}", stagingDirectory_, ::getpid(), ++stagedCount_);
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  int descriptor = ::open(draft.c_str(), flags, fileMode);
  if (descriptor < 0 && errno == ENOENT) {
    if (Status made = createDirectories(stagingDirectory_); !made) return made;
    descriptor = ::open(draft.c_str(), flags, fileMode);
  }
  const File file(descriptor);
  if (!file.isOpen()) return posixError(errno, draft);
  int code = file.write(bytes);
  if (code == 0 && ::rename(draft.c_str(), path.c_str()) != 0) code = errno;
  if (code == 0) return success();
  ::unlink(draft.c_str());
  return posixError(code, path);
}

Status LinuxFileSystem::remove(const std::string& path) {
  if (std::remove(path.c_str()) != 0) return posixError(errno, path);
  return success();
}

Status LinuxFileSystem::createDirectories(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0 || isDirectory(path)) return success();
  if (errno != ENOENT) return posixError(errno, path);
  std::error_code failure;
  std::filesystem::create_directories(path, failure);
  if (failure && !isDirectory(path)) return posixError(failure.value(), path);
  return success();
}

std::optional<double> LinuxFileSystem::creationTime(const std::string& path) const {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_TYPE, &status) != 0) return std::nullopt;
  if ((status.stx_mask & STATX_BTIME) != 0 && status.stx_btime.tv_sec > 0) {
    return seconds({status.stx_btime.tv_sec, status.stx_btime.tv_nsec});
  }
  return S_ISDIR(status.stx_mode) ? markedCreationTime(path) : std::nullopt;
}

std::optional<double> LinuxFileSystem::modificationTime(const std::string& path) const {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return seconds(status.st_mtim);
}

Result<FileSystemSpace> LinuxFileSystem::space(const std::string& path) const {
  const auto facts = profile_.snapshot();
  if (const Value* failure = factAt(*facts, {"disk", "error"});
      failure != nullptr && failure->dictionary() != nullptr) {
    const std::string* domain = failure->dictionary()->string("domain");
    return Error(domain != nullptr ? *domain : posixErrorDomain,
                 wholeNumber(failure->dictionary()->find("code")).value_or(0));
  }
  const auto free = wholeNumber(factAt(*facts, {"disk", "free"}));
  const auto total = wholeNumber(factAt(*facts, {"disk", "total"}));
  if (free || total) return FileSystemSpace{byteCount(free), byteCount(total)};
  struct statvfs status {};
  if (::statvfs(path.c_str(), &status) != 0) return posixError(errno, path);
  return FileSystemSpace{status.f_bavail * status.f_frsize, status.f_blocks * status.f_frsize};
}

std::optional<double> markedCreationTime(const std::string& directory) {
  const std::filesystem::path path(directory);
  const std::string marker = (path.parent_path() / ("." + path.filename().string() + ".created")).string();
  struct stat status {};
  if (::stat(marker.c_str(), &status) == 0) return seconds(status.st_mtim);
  if (::stat(directory.c_str(), &status) != 0) return std::nullopt;
  const File file(::open(marker.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, fileMode));
  if (!file.isOpen()) return std::nullopt;
  const timespec times[2] = {status.st_mtim, status.st_mtim};
  if (::futimens(file.get(), times) != 0) return std::nullopt;
  return seconds(status.st_mtim);
}

}  // namespace trovix::platform
