#include "platform/linux/LinuxMainQueue.h"

#include <algorithm>
#include <utility>

#include "platform/linux/DelayedTasks.h"
#include "platform/linux/QueueHub.h"

namespace trovix::platform {

LinuxMainQueue::LinuxMainQueue(MainQueueMode mode, Executor executor, std::shared_ptr<QueueHub> hub,
                               std::shared_ptr<DelayedTasks> delayed)
    : mode_(mode), executor_(std::move(executor)), hub_(std::move(hub)), delayed_(std::move(delayed)) {}

LinuxMainQueue::~LinuxMainQueue() = default;

void LinuxMainQueue::post(Task task) {
  if (!hub_->isOpen()) return;
  hub_->beginTask();
  {
    const MutexLock lock(mutex_);
    if (hasEnded_) return;
    tasks_.push_back(std::move(task));
    if (mode_ == MainQueueMode::ownThread && !isThreadStarted_) {
      isThreadStarted_ = thread_.start("trovix-main", [self = shared_from_this()] { self->runLoop(); });
    }
  }
  // The host's event loop may be gone while the process ends; whoever shuts down serves the queue then.
  if (mode_ == MainQueueMode::executor && executor_ && hub_->isRunning()) {
    executor_([self = shared_from_this()] { self->serveOne(); });
  } else {
    changed_.notify_one();
  }
}

void LinuxMainQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (delay <= std::chrono::nanoseconds::zero()) return post(std::move(task));
  delayed_->add(timeAfter(delay), shared_from_this(), std::move(task), DelayedTasks::Kind::oneShot);
}

std::unique_ptr<Timer> LinuxMainQueue::makeOneShotTimer(std::chrono::nanoseconds delay, Task task) {
  return delayed_->addOneShot(delay, shared_from_this(), std::move(task));
}

bool LinuxMainQueue::isCurrent() const { return TaskFrame::isInside(this); }

bool LinuxMainQueue::isServed() const {
  switch (mode_) {
    case MainQueueMode::executor:
      return executor_ != nullptr;
    case MainQueueMode::ownThread:
      return true;
    case MainQueueMode::hostLoop:
      break;
  }
  if (!hub_->isOwnProcess()) return false;
  const MutexLock lock(mutex_);
  return wasServed_;
}

void LinuxMainQueue::serveOne() {
  if (!hub_->isOpen()) return;
  const MutexLock lock(mutex_);
  if (!canRun()) {
    ++missedTurns_;
    return;
  }
  runNext();
  for (; missedTurns_ > 0 && canRun(); --missedTurns_) runNext();
}

bool LinuxMainQueue::canRun() const { return depth_ == 0 || owner_ == std::this_thread::get_id(); }

bool LinuxMainQueue::runNext() {
  if (tasks_.empty() || hasEnded_) return false;
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  ++depth_;
  owner_ = std::this_thread::get_id();
  mutex_.unlock();
  // A callback that throws ends the process here, on whatever thread it runs.
  [&]() noexcept {
    const TaskFrame frame(*hub_, this);
    task();
    task = nullptr;
  }();
  mutex_.lock();
  if (--depth_ == 0) changed_.notify_all();
  return true;
}

bool LinuxMainQueue::serveUntil(const std::function<bool()>& done, std::chrono::steady_clock::time_point deadline,
                                std::chrono::nanoseconds slice) {
  if (!hub_->isOwnProcess()) return done();
  for (;;) {
    if (done()) return true;
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline) return false;
    const MutexLock lock(mutex_);
    wasServed_ = true;
    if (hasEnded_) return false;
    if (canRun() && runNext()) continue;
    changed_.wait_until(mutex_, std::min(deadline, now + std::chrono::duration_cast<std::chrono::microseconds>(slice)));
  }
}

void LinuxMainQueue::runLoop() {
  if (!hub_->isOwnProcess()) return;
  const MutexLock lock(mutex_);
  wasServed_ = true;
  while (!isStopAsked_ && !hasEnded_) {
    if (!canRun() || !runNext()) changed_.wait(mutex_);
  }
  isStopAsked_ = false;
}

void LinuxMainQueue::stopLoop() {
  if (!hub_->isOwnProcess()) return;
  const MutexLock lock(mutex_);
  isStopAsked_ = true;
  changed_.notify_all();
}

bool LinuxMainQueue::endUntil(std::chrono::steady_clock::time_point deadline) {
  std::deque<Task> dropped;
  std::unique_ptr<WorkerThread> thread;
  {
    const MutexLock lock(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
    dropped.swap(tasks_);
    thread = std::make_unique<WorkerThread>(std::move(thread_));
  }
  return thread->joinUntil(deadline);
}

}  // namespace trovix::platform
