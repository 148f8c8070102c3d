#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>

#include "platform/Mutex.h"
#include "platform/linux/WorkerPool.h"
#include "trovix/platform/Queues.h"

namespace trovix::platform {

class QueueHub;

/// Tasks that wait for their time, under one alarm that is set anew only when the earliest of them changes. Tasks of
/// the same time keep their order. Any thread.
class DelayedTasks : public WorkerPool::Job, public std::enable_shared_from_this<DelayedTasks> {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Key = std::pair<Time, std::uint64_t>;
  enum class Kind : std::uint8_t { oneShot, repeating };

  DelayedTasks(std::shared_ptr<QueueHub> hub, std::shared_ptr<WorkerPool> pool);
  ~DelayedTasks() override;

  /// Posts the task to the queue at that time, unless it is cancelled by its key. Only a one-shot task keeps the
  /// platform busy while it waits.
  Key add(Time when, std::shared_ptr<Queue> queue, Task task, Kind kind);
  /// Forgets the task and ends its wait; nothing happens when it waits no more.
  void cancel(const Key& key);
  /// Adds a one-shot task, which its timer cancels. Zero or less is the queue's next turn.
  [[nodiscard]] std::unique_ptr<Timer> addOneShot(std::chrono::nanoseconds delay, std::shared_ptr<Queue> queue,
                                                  Task task);
  /// Posts those that are due.
  void run() override;
  /// Posts every one-shot task now, in the order of their times, and forgets the repeating ones; answers whether there
  /// was any.
  bool hurry();

 private:
  struct Entry {
    std::shared_ptr<Queue> queue;
    Task task;
    Kind kind = Kind::oneShot;
  };
  using Entries = std::map<Key, Entry>;

  void hand(Entries&& due);

  const std::shared_ptr<QueueHub> hub_;
  const std::shared_ptr<WorkerPool> pool_;
  Mutex mutex_;
  Entries entries_ TX_GUARDED_BY(mutex_);
  std::uint64_t count_ TX_GUARDED_BY(mutex_) = 0;
};

/// The moment after that delay; what is too long to count is ten years.
[[nodiscard]] DelayedTasks::Time timeAfter(std::chrono::nanoseconds delay) noexcept;

}  // namespace trovix::platform
