#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace trovix::platform {

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

}  // namespace trovix::platform
