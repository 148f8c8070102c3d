#pragma once

#include <deque>
#include <memory>
#include <string>

#include "platform/Mutex.h"
#include "platform/linux/WorkerPool.h"
#include "trovix/platform/Queues.h"

namespace trovix::platform {

class DelayedTasks;
class QueueHub;

/// What a queue over a pool posts to, counts in and waits with.
struct QueueServices {
  std::shared_ptr<QueueHub> hub;
  std::shared_ptr<WorkerPool> pool;
  std::shared_ptr<DelayedTasks> delayed;
};

/// A serial queue that takes turns on a pool. A pending turn keeps it alive.
class PoolSerialQueue : public SerialQueue,
                        public WorkerPool::Job,
                        public std::enable_shared_from_this<PoolSerialQueue> {
 public:
  PoolSerialQueue(std::string label, QueueServices services);
  ~PoolSerialQueue() override;

  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> makeOneShotTimer(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] bool isCurrent() const override;
  [[nodiscard]] const std::string& label() const override { return label_; }

  /// One turn: some tasks, then the others' turn.
  void run() override;
  /// Destroys the tasks that wait, whatever they hold.
  void drop() override;
  /// Takes another turn although the task of the last one has not returned.
  void resume();

 private:
  bool runNext();

  const std::string label_;
  const QueueServices services_;
  Mutex mutex_;
  std::deque<Task> tasks_ TX_GUARDED_BY(mutex_);
  bool hasTurn_ TX_GUARDED_BY(mutex_) = false;
};

/// Hands every task to the pool by itself.
class PoolQueue : public Queue, public std::enable_shared_from_this<PoolQueue> {
 public:
  explicit PoolQueue(QueueServices services);
  ~PoolQueue() override;

  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> makeOneShotTimer(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] bool isCurrent() const override;

 private:
  const QueueServices services_;
};

}  // namespace trovix::platform
