#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "platform/Mutex.h"
#include "platform/linux/DelayedTasks.h"
#include "trovix/platform/Queues.h"

namespace trovix::platform {

/// The firings of one repeating timer; what waits for its time holds it weakly. Any thread.
class RepeatingFirings : public std::enable_shared_from_this<RepeatingFirings> {
 public:
  RepeatingFirings(std::chrono::nanoseconds interval, Task task, std::shared_ptr<QueueHub> hub,
                   std::weak_ptr<DelayedTasks> delayed, std::weak_ptr<Queue> queue);

  /// The first firing is one interval away.
  void start();
  void invalidate();
  [[nodiscard]] bool isValid() const noexcept { return isValid_; }

 private:
  void schedule();
  void fire();

  const std::chrono::nanoseconds interval_;
  const std::shared_ptr<QueueHub> hub_;
  const std::weak_ptr<DelayedTasks> delayed_;
  const std::weak_ptr<Queue> queue_;
  std::atomic<bool> isValid_{true};
  /// Touched by one scheduled firing at a time.
  DelayedTasks::Time next_;
  Mutex mutex_;
  /// Let go when the timer is invalidated; a running firing keeps its own hold.
  std::shared_ptr<const Task> task_ TX_GUARDED_BY(mutex_);
};

/// The handle.
class RepeatingTimer : public Timer {
 public:
  explicit RepeatingTimer(std::shared_ptr<RepeatingFirings> firings) : firings_(std::move(firings)) {}
  ~RepeatingTimer() override { firings_->invalidate(); }
  void invalidate() override { firings_->invalidate(); }
  [[nodiscard]] bool isValid() const override { return firings_->isValid(); }

 private:
  const std::shared_ptr<RepeatingFirings> firings_;
};

}  // namespace trovix::platform
