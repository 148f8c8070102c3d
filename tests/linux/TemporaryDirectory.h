#pragma once

#include <sys/fsuid.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/SimulatedFacts.h"
#include "support/Testing.h"

namespace trovix::platform {

/// A directory of its own for one test.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "trovix-XXXXXX").string();
    path_ = ::mkdtemp(name.data());
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  [[nodiscard]] const std::string& path() const { return path_; }
  /// Names of the entries that contain the text.
  [[nodiscard]] std::vector<std::string> entriesWith(const std::string& text) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
      const std::string name = entry.path().filename();
      if (name.find(text) != std::string::npos) names.push_back(name);
    }
    return names;
  }

 private:
  std::string path_;
};

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void overwrite(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

/// The superuser may write anywhere; for as long as this lives the thread's file accesses are those of a user who
/// owns nothing.
class PlainUser {
 public:
  PlainUser() : user_(static_cast<uid_t>(::setfsuid(65534))) {}
  ~PlainUser() { ::setfsuid(user_); }

 private:
  const uid_t user_;
};

using RecordingLog = test::SimulatedSystemLog;

}  // namespace trovix::platform
