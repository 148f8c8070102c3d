#include "platform/linux/LinuxQueues.h"

#include <algorithm>
#include <utility>

#include "platform/linux/DelayedTasks.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/PoolQueues.h"
#include "platform/linux/QueueHub.h"
#include "platform/linux/RepeatingTimer.h"

namespace trovix::platform {
namespace {

// An event that was delayed may wait once more before it reaches the cache. More rounds would only feed a task that
// re-posts itself for ever.
constexpr int drainRounds = 4;
constexpr std::chrono::milliseconds drainSlice(1);
constexpr std::chrono::milliseconds joinGrace(50);
constexpr std::chrono::seconds shutDownLimit(2);

}  // namespace

LinuxQueues::LinuxQueues(MainQueueMode mode, std::function<void(std::function<void()>)> mainExecutor)
    : hub_(std::make_shared<QueueHub>()),
      serialPool_(std::make_shared<WorkerPool>("trovix-serial", WorkerPool::Kind::relieved)),
      globalPool_(std::make_shared<WorkerPool>("trovix-global", WorkerPool::Kind::pair)),
      delayed_(std::make_shared<DelayedTasks>(hub_, serialPool_)),
      mainQueue_(std::make_shared<LinuxMainQueue>(mode, std::move(mainExecutor), hub_, delayed_)),
      globalQueue_(std::make_shared<PoolQueue>(QueueServices{hub_, globalPool_, delayed_})) {}

LinuxQueues::~LinuxQueues() {
  if (isStopped_ || !hub_->isOwnProcess()) return;
  const auto deadline = std::chrono::steady_clock::now() + shutDownLimit;
  drainUntil(deadline);
  (void)stopUntil(deadline);
}

std::shared_ptr<SerialQueue> LinuxQueues::makeSerialQueue(std::string label) {
  return std::make_shared<PoolSerialQueue>(std::move(label), QueueServices{hub_, serialPool_, delayed_});
}

SerialQueue& LinuxQueues::mainQueue() { return *mainQueue_; }

bool LinuxQueues::isMainQueueServed() const { return mainQueue_->isServed(); }

Queue& LinuxQueues::globalQueue() { return *globalQueue_; }

std::unique_ptr<Timer> LinuxQueues::makeRepeatingTimer(std::chrono::nanoseconds interval, Task task) {
  auto firings = std::make_shared<RepeatingFirings>(interval, std::move(task), hub_, delayed_, mainQueue_);
  firings->start();
  return std::make_unique<RepeatingTimer>(std::move(firings));
}

void LinuxQueues::drainUntil(std::chrono::steady_clock::time_point deadline) {
  if (!hub_->isOwnProcess()) return;
  hub_->setState(QueueHub::State::draining);
  releaseCurrentThread();
  const auto done = [this] { return hub_->hasNoTasks(); };
  for (int round = 0; round < drainRounds; ++round) {
    if (!delayed_->hurry() && hub_->hasNoTasks()) return;
    if (!mainQueue_->serveUntil(done, deadline, drainSlice)) return;
  }
}

void LinuxQueues::releaseCurrentThread() {
  for (const auto* frame = TaskFrame::current(); frame != nullptr; frame = frame->outer()) {
    if (&frame->hub() == hub_.get() && frame->serialQueue() != nullptr) frame->serialQueue()->resume();
  }
  for (const auto& pool : {serialPool_, globalPool_}) {
    if (pool->isCurrent()) pool->addThread();
  }
}

bool LinuxQueues::stopUntil(std::chrono::steady_clock::time_point deadline) {
  if (!hub_->isOwnProcess()) return false;
  isStopped_ = true;
  hub_->setState(QueueHub::State::stopped);
  const auto joinDeadline = std::max(deadline, std::chrono::steady_clock::now() + joinGrace);
  const bool mainEnded = mainQueue_->endUntil(joinDeadline);
  const bool serialEnded = serialPool_->stopUntil(joinDeadline);
  const bool globalEnded = globalPool_->stopUntil(joinDeadline);
  (void)delayed_->hurry();
  return mainEnded && serialEnded && globalEnded;
}

}  // namespace trovix::platform
