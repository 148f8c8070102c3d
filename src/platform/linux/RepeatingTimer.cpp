#include "platform/linux/RepeatingTimer.h"

#include <algorithm>
#include <utility>

#include "platform/linux/QueueHub.h"

namespace trovix::platform {

RepeatingFirings::RepeatingFirings(std::chrono::nanoseconds interval, Task task, std::shared_ptr<QueueHub> hub,
                                   std::weak_ptr<DelayedTasks> delayed, std::weak_ptr<Queue> queue)
    // A timer of no interval would never let the queue rest.
    : interval_(std::max(interval, std::chrono::nanoseconds(std::chrono::microseconds(100)))),
      hub_(std::move(hub)),
      delayed_(std::move(delayed)),
      queue_(std::move(queue)),
      next_(timeAfter(interval_)),
      task_(std::make_shared<const Task>(std::move(task))) {}

void RepeatingFirings::start() { schedule(); }

void RepeatingFirings::schedule() {
  const auto delayed = delayed_.lock();
  auto queue = queue_.lock();
  if (!delayed || !queue) return;
  delayed->add(
      next_, std::move(queue),
      [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->fire();
      },
      DelayedTasks::Kind::repeating);
}

void RepeatingFirings::fire() {
  std::shared_ptr<const Task> task;
  {
    const MutexLock lock(mutex_);
    if (!isValid_) return;
    task = task_;
  }
  (*task)();
  if (!isValid_ || !hub_->isRunning()) return;
  const auto missed = std::max<std::int64_t>(0, (std::chrono::steady_clock::now() - next_) / interval_);
  next_ += interval_ * (missed + 1);
  schedule();
}

void RepeatingFirings::invalidate() {
  isValid_ = false;
  if (!hub_->isOwnProcess()) return;
  std::shared_ptr<const Task> dropped;
  const MutexLock lock(mutex_);
  dropped.swap(task_);
}

}  // namespace trovix::platform
