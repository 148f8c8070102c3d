#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace trovix::torture {

/// The host program as a child process, its output in files. It does not outlive the object.
class HostProcess {
 public:
  /// How a process ended.
  struct Ending {
    bool byKill = false;
    std::optional<int> exitStatus = std::nullopt;  ///< missing when a signal ended it
    std::string text = {};
  };

  /// Starts it, without the library's own lines on standard output. Standard output and error go to `outputFile` and
  /// `outputFile`.err, which are made anew.
  HostProcess(const std::string& program, std::vector<std::string> arguments, const std::string& outputFile);
  /// Kills it, if need be, and waits for its end.
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  [[nodiscard]] bool isStarted() const noexcept { return process_ > 0; }
  /// Sends SIGKILL, which a process that has ended already does not notice.
  Ending kill();
  /// Waits for its own end, and kills it when the time is over.
  Ending waitForEnd(std::chrono::seconds limit);

 private:
  pid_t process_ = -1;
};

}  // namespace trovix::torture
