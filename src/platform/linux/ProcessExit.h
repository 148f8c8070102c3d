#pragma once

#include <functional>
#include <memory>

namespace trovix::platform {

/// Grows in the child of every fork: what was made in another generation belongs to the parent, and so do its threads
/// and locks. Counts from the first `ExitHandler` on. Any thread.
[[nodiscard]] unsigned forkGeneration() noexcept;

/// Runs at the end of the process, before OpenSSL's own clean-up, unless it was destroyed before. Handlers run newest
/// first, on the thread that ends the process; in the child of a fork they do not run.
class ExitHandler {
 public:
  explicit ExitHandler(std::function<void()> handler);
  ~ExitHandler();
  ExitHandler(const ExitHandler&) = delete;
  ExitHandler& operator=(const ExitHandler&) = delete;

 private:
  const std::shared_ptr<const std::function<void()>> handler_;
};

}  // namespace trovix::platform
