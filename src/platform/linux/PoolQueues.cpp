#include "platform/linux/PoolQueues.h"

#include <utility>

#include "platform/linux/DelayedTasks.h"
#include "platform/linux/QueueHub.h"

namespace trovix::platform {
namespace {

// A busy queue lets the others have the thread after so many tasks.
constexpr int tasksPerTurn = 64;

/// A task of the global queue on its way to the pool.
class PoolTask : public WorkerPool::Job {
 public:
  PoolTask(std::shared_ptr<QueueHub> hub, const Queue* queue, Task task)
      : hub_(std::move(hub)), queue_(queue), task_(std::move(task)) {}

  void run() override {
    const TaskFrame frame(*hub_, queue_);
    if (hub_->isOpen()) task_();
    task_ = nullptr;
  }

 private:
  const std::shared_ptr<QueueHub> hub_;
  const Queue* const queue_;
  Task task_;
};

}  // namespace

PoolSerialQueue::PoolSerialQueue(std::string label, QueueServices services)
    : label_(std::move(label)), services_(std::move(services)) {}

PoolSerialQueue::~PoolSerialQueue() = default;

void PoolSerialQueue::post(Task task) {
  if (!services_.hub->isOpen()) return;
  services_.hub->beginTask();
  {
    const MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
    if (std::exchange(hasTurn_, true)) return;
  }
  services_.pool->post(shared_from_this());
}

void PoolSerialQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (delay <= std::chrono::nanoseconds::zero()) return post(std::move(task));
  services_.delayed->add(timeAfter(delay), shared_from_this(), std::move(task), DelayedTasks::Kind::oneShot);
}

std::unique_ptr<Timer> PoolSerialQueue::makeOneShotTimer(std::chrono::nanoseconds delay, Task task) {
  return services_.delayed->addOneShot(delay, shared_from_this(), std::move(task));
}

bool PoolSerialQueue::isCurrent() const { return TaskFrame::isInside(this); }

void PoolSerialQueue::run() {
  for (int i = 0; i < tasksPerTurn; ++i) {
    if (!runNext()) return;
  }
  services_.pool->post(shared_from_this());
}

void PoolSerialQueue::drop() {
  std::deque<Task> dropped;
  const MutexLock lock(mutex_);
  dropped.swap(tasks_);
  hasTurn_ = false;
}

void PoolSerialQueue::resume() { services_.pool->post(shared_from_this()); }

bool PoolSerialQueue::runNext() {
  // One that outlived the drain it was part of must not go on beside the thread that stood in for it.
  if (!services_.hub->isOpen()) {
    drop();
    return false;
  }
  Task task;
  {
    const MutexLock lock(mutex_);
    if (tasks_.empty()) {
      hasTurn_ = false;
      return false;
    }
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  const TaskFrame frame(*services_.hub, this, this);
  task();
  task = nullptr;
  return true;
}

PoolQueue::PoolQueue(QueueServices services) : services_(std::move(services)) {}

PoolQueue::~PoolQueue() = default;

void PoolQueue::post(Task task) {
  if (!services_.hub->isOpen()) return;
  services_.hub->beginTask();
  services_.pool->post(std::make_shared<PoolTask>(services_.hub, this, std::move(task)));
}

void PoolQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (delay <= std::chrono::nanoseconds::zero()) return post(std::move(task));
  services_.delayed->add(timeAfter(delay), shared_from_this(), std::move(task), DelayedTasks::Kind::oneShot);
}

std::unique_ptr<Timer> PoolQueue::makeOneShotTimer(std::chrono::nanoseconds delay, Task task) {
  return services_.delayed->addOneShot(delay, shared_from_this(), std::move(task));
}

bool PoolQueue::isCurrent() const { return TaskFrame::isInside(this); }

}  // namespace trovix::platform
