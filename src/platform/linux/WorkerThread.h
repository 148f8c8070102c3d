#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace trovix::platform {

/// A thread of the library. It blocks the host's signals, and its end can be awaited for a bounded time. What the body
/// uses must live as long as it runs, whatever became of this object. Start and join on one thread at a time.
class WorkerThread {
 public:
  WorkerThread() = default;
  /// Lets a thread go that was not joined.
  ~WorkerThread();
  WorkerThread(WorkerThread&&) = default;
  WorkerThread& operator=(WorkerThread&&) = delete;

  /// False when the system gives no thread. The name has at most 15 bytes and is a literal.
  [[nodiscard]] bool start(const char* name, std::function<void()> body);
  /// Whether the body ended in time; true as well when it never started.
  bool joinUntil(std::chrono::steady_clock::time_point deadline);

 private:
  [[nodiscard]] bool isCurrent() const noexcept { return thread_.get_id() == std::this_thread::get_id(); }

  std::thread thread_;
  std::future<void> ended_;
};

}  // namespace trovix::platform
