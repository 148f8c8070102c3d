#include "platform/linux/DelayedTasks.h"

#include <algorithm>

#include "platform/linux/QueueHub.h"

namespace trovix::platform {

DelayedTasks::DelayedTasks(std::shared_ptr<QueueHub> hub, std::shared_ptr<WorkerPool> pool)
    : hub_(std::move(hub)), pool_(std::move(pool)) {}

DelayedTasks::~DelayedTasks() = default;

void DelayedTasks::add(Time when, std::shared_ptr<Queue> queue, Task task, Kind kind) {
  if (!hub_->isOpen()) return;
  if (kind == Kind::oneShot) hub_->beginWait();
  const MutexLock lock(mutex_);
  const auto place = entries_.emplace(std::pair(when, count_++), Entry{std::move(queue), std::move(task), kind}).first;
  if (place == entries_.begin()) pool_->setAlarm(when, weak_from_this());
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

void DelayedTasks::hand(Entries due) {
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
