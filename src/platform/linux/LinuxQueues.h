#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "trovix/platform/LinuxPlatform.h"
#include "trovix/platform/Queues.h"

namespace trovix::platform {

class DelayedTasks;
class LinuxMainQueue;
class QueueHub;
class WorkerPool;

/// Queues over two small pools of threads. All serial queues share one thread: their tasks are short, and work that is
/// handed from one to the next costs no wake-up. A task that keeps the thread holds up its own queue only: a second
/// thread then runs the others. The global queue, whose tasks may block, has threads of its own.
class LinuxQueues : public Queues {
 public:
  LinuxQueues(MainQueueMode mode, std::function<void(std::function<void()>)> mainExecutor);
  /// Shuts down, within two seconds, unless that was done.
  ~LinuxQueues() override;

  [[nodiscard]] std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  [[nodiscard]] SerialQueue& mainQueue() override;
  [[nodiscard]] bool isMainQueueServed() const override;
  [[nodiscard]] Queue& globalQueue() override;
  /// A timer whose firing is late because nobody serves the main queue skips the firings it missed.
  [[nodiscard]] std::unique_ptr<Timer> makeRepeatingTimer(std::chrono::nanoseconds interval, Task task) override;

  [[nodiscard]] LinuxMainQueue& linuxMainQueue() noexcept { return *mainQueue_; }
  [[nodiscard]] const std::shared_ptr<QueueHub>& hub() const noexcept { return hub_; }
  /// What the serial queues run on.
  [[nodiscard]] const std::shared_ptr<WorkerPool>& serialPool() const noexcept { return serialPool_; }

  /// Runs what waits, delayed tasks included, serving the main queue on the calling thread. Delayed tasks that these
  /// leave behind fall due too, a few times over. May be called from a task: that task then counts as ended.
  void drainUntil(std::chrono::steady_clock::time_point deadline);
  /// No further task starts, and later posts are dropped. Answers whether every thread ended in time.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);

 private:
  void releaseCurrentThread();

  const std::shared_ptr<QueueHub> hub_;
  const std::shared_ptr<WorkerPool> serialPool_;
  const std::shared_ptr<WorkerPool> globalPool_;
  const std::shared_ptr<DelayedTasks> delayed_;
  const std::shared_ptr<LinuxMainQueue> mainQueue_;
  const std::shared_ptr<Queue> globalQueue_;
  bool isStopped_ = false;
};

}  // namespace trovix::platform
