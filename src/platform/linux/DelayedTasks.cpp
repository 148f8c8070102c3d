#include "platform/linux/DelayedTasks.h"

#include <algorithm>
#include <atomic>

#include "platform/linux/QueueHub.h"

namespace trovix::platform {
namespace {

class OneShotTimer final : public Timer {
 public:
  OneShotTimer(std::weak_ptr<DelayedTasks> delayed, DelayedTasks::Key key, std::shared_ptr<std::atomic<bool>> isPending)
      : delayed_(std::move(delayed)), key_(key), isPending_(std::move(isPending)) {}
  ~OneShotTimer() override { invalidate(); }

  void invalidate() override {
    if (!isPending_->exchange(false)) return;
    if (const auto delayed = delayed_.lock()) delayed->cancel(key_);
  }
  [[nodiscard]] bool isValid() const override { return *isPending_; }

 private:
  const std::weak_ptr<DelayedTasks> delayed_;
  const DelayedTasks::Key key_;
  /// Shared with the task, which may stand in its queue already when the timer is invalidated.
  const std::shared_ptr<std::atomic<bool>> isPending_;
};

}  // namespace

DelayedTasks::DelayedTasks(std::shared_ptr<QueueHub> hub, std::shared_ptr<WorkerPool> pool)
    : hub_(std::move(hub)), pool_(std::move(pool)) {}

DelayedTasks::~DelayedTasks() = default;

DelayedTasks::Key DelayedTasks::add(Time when, std::shared_ptr<Queue> queue, Task task, Kind kind) {
  if (!hub_->isOpen()) return {};
  const MutexLock lock(mutex_);
  // Again: what came after the last hurry would stay for good, and its queue with it.
  if (!hub_->isOpen()) return {};
  if (kind == Kind::oneShot) hub_->beginWait();
  const auto place = entries_.emplace(std::pair(when, count_++), Entry{std::move(queue), std::move(task), kind}).first;
  if (place == entries_.begin()) pool_->setAlarm(when, weak_from_this());
  return place->first;
}

void DelayedTasks::cancel(const Key& key) {
  if (!hub_->isOwnProcess()) return;
  Entries::node_type cancelled;
  {
    const MutexLock lock(mutex_);
    cancelled = entries_.extract(key);
  }
  if (cancelled && cancelled.mapped().kind == Kind::oneShot) hub_->endWait();
}

std::unique_ptr<Timer> DelayedTasks::addOneShot(std::chrono::nanoseconds delay, std::shared_ptr<Queue> queue,
                                                Task task) {
  auto isPending = std::make_shared<std::atomic<bool>>(true);
  Task firing = [isPending, task = std::move(task)] {
    if (isPending->exchange(false)) task();
  };
  Key key;
  if (delay <= std::chrono::nanoseconds::zero()) {
    queue->post(std::move(firing));
  } else {
    key = add(timeAfter(delay), std::move(queue), std::move(firing), Kind::oneShot);
  }
  return std::make_unique<OneShotTimer>(weak_from_this(), key, std::move(isPending));
}

void DelayedTasks::run() {
  const auto now = std::chrono::steady_clock::now();
  Entries due;
  {
    const MutexLock lock(mutex_);
    while (!entries_.empty() && entries_.begin()->first.first <= now) due.insert(entries_.extract(entries_.begin()));
    if (!entries_.empty()) pool_->setAlarm(entries_.begin()->first.first, weak_from_this());
  }
  hand(std::move(due));
}

bool DelayedTasks::hurry() {
  Entries all;
  {
    const MutexLock lock(mutex_);
    all.swap(entries_);
  }
  std::erase_if(all, [](const auto& entry) { return entry.second.kind == Kind::repeating; });
  const bool any = !all.empty();
  hand(std::move(all));
  return any;
}

void DelayedTasks::hand(Entries&& due) {
  for (auto& [key, entry] : due) {
    entry.queue->post(std::move(entry.task));
    if (entry.kind == Kind::oneShot) hub_->endWait();
  }
}

DelayedTasks::Time timeAfter(std::chrono::nanoseconds delay) noexcept {
  constexpr std::chrono::nanoseconds longest = std::chrono::hours(24 * 3650);
  return std::chrono::steady_clock::now() + std::min(delay, longest);
}

}  // namespace trovix::platform
