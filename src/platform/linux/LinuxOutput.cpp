#include "platform/linux/LinuxOutput.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>

namespace trovix::platform {
namespace {

/// While it lives, a write of this thread to a pipe whose reader is gone fails and does not end the host.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() noexcept {
    sigset_t pending{};
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &signal_, &earlierMask_);
  }
  ~BrokenPipeGuard() { ::pthread_sigmask(SIG_SETMASK, &earlierMask_, nullptr); }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

  /// Takes the signal of a write that failed, unless the host has one of its own waiting.
  void noteFailure() const noexcept {
    if (errno != EPIPE || wasPending_) return;
    constexpr timespec atOnce{};
    while (::sigtimedwait(&signal_, nullptr, &atOnce) < 0 && errno == EINTR) continue;
  }

 private:
  sigset_t signal_{};
  sigset_t earlierMask_{};
  bool wasPending_ = false;
};

}  // namespace

void LinuxConsole::print(std::string_view text) {
  const BrokenPipeGuard guard;
  if (std::fwrite(text.data(), 1, text.size(), stdout) < text.size()) guard.noteFailure();
  if (std::fflush(stdout) != 0) guard.noteFailure();
}

void LinuxSystemLog::write(std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  text.append(line).push_back('\n');
  std::string_view rest = text;
  const BrokenPipeGuard guard;
  while (!rest.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return guard.noteFailure();
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace trovix::platform
