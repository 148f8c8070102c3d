#include "support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace trovix::test {

using platform::Task;

void SimulatedClock::set(double secondsSince1970) {
  wallTime_ = origin_ = secondsSince1970;
  originAt_ = monotonic_;
}

void SimulatedClock::moveTo(std::uint64_t monotonicNanoseconds) {
  monotonic_ = monotonicNanoseconds;
  wallTime_ = origin_ + static_cast<double>(monotonic_ - originAt_) * 1e-9;
}

struct SimulatedQueues::TimerState {
  std::uint64_t interval;
  Task task;
  bool isValid = true;
};

class SimulatedQueues::Timer final : public platform::Timer {
 public:
  explicit Timer(
      std::shared_ptr<TimerState> state, Task withdraw = [] {})
      : state_(std::move(state)), withdraw_(std::move(withdraw)) {}
  ~Timer() override { invalidate(); }
  void invalidate() override {
    if (std::exchange(state_->isValid, false)) withdraw_();
  }
  bool isValid() const override { return state_->isValid; }

 private:
  std::shared_ptr<TimerState> state_;
  Task withdraw_;
};

class SimulatedQueues::Queue final : public platform::SerialQueue {
 public:
  Queue(SimulatedQueues& owner, std::uint64_t identity, std::string label)
      : owner_(owner), identity_(identity), label_(std::move(label)) {}

  void post(Task task) override {
    if (!owner_.isShutDown_) owner_.ready_.push_back({identity_, std::move(task)});
  }
  void postAfter(std::chrono::nanoseconds delay, Task task) override {
    if (delay.count() <= 0) return post(std::move(task));
    owner_.postAt(dueAfter(delay), {identity_, std::move(task)});
  }
  std::unique_ptr<platform::Timer> makeOneShotTimer(std::chrono::nanoseconds delay, Task task) override {
    auto state = std::make_shared<TimerState>(TimerState{0, std::move(task)});
    Task firing = [state] {
      if (std::exchange(state->isValid, false)) state->task();
    };
    if (delay.count() <= 0) {
      post(std::move(firing));
      return std::make_unique<Timer>(std::move(state));
    }
    const Key key = owner_.postAt(dueAfter(delay), {identity_, std::move(firing)});
    return std::make_unique<Timer>(std::move(state), [&owner = owner_, key] { owner.delayed_.extract(key); });
  }
  bool isCurrent() const override { return owner_.current_ == identity_; }
  const std::string& label() const override { return label_; }
  std::uint64_t identity() const { return identity_; }

 private:
  std::uint64_t dueAfter(std::chrono::nanoseconds delay) const {
    return owner_.clock_.monotonicNanoseconds() + static_cast<std::uint64_t>(delay.count());
  }

  SimulatedQueues& owner_;
  std::uint64_t identity_;
  std::string label_;
};

SimulatedQueues::SimulatedQueues(SimulatedClock& clock)
    : clock_(clock), main_(makeQueue("main")), global_(makeQueue("global")) {}

SimulatedQueues::~SimulatedQueues() { shutDown(); }

std::shared_ptr<SimulatedQueues::Queue> SimulatedQueues::makeQueue(std::string label) {
  return std::make_shared<Queue>(*this, ++lastQueue_, std::move(label));
}

std::shared_ptr<platform::SerialQueue> SimulatedQueues::makeSerialQueue(std::string label) {
  return makeQueue(std::move(label));
}

platform::SerialQueue& SimulatedQueues::mainQueue() { return *main_; }

platform::Queue& SimulatedQueues::globalQueue() { return *global_; }

std::unique_ptr<platform::Timer> SimulatedQueues::makeRepeatingTimer(std::chrono::nanoseconds interval, Task task) {
  constexpr std::int64_t shortest = 1'000'000;
  auto state = std::make_shared<TimerState>(
      TimerState{static_cast<std::uint64_t>(std::max(interval.count(), shortest)), std::move(task)});
  scheduleFiring(state, clock_.monotonicNanoseconds() + state->interval);
  return std::make_unique<Timer>(std::move(state));
}

void SimulatedQueues::scheduleFiring(const std::shared_ptr<TimerState>& timer, std::uint64_t due) {
  postAt(due, {main_->identity(), [this, timer, due] {
                 if (!timer->isValid) return;
                 scheduleFiring(timer, due + timer->interval);
                 timer->task();
               }});
}

SimulatedQueues::Key SimulatedQueues::postAt(std::uint64_t due, Entry entry) {
  const Key key(due, ++sequence_);
  if (!isShutDown_) delayed_.emplace(key, std::move(entry));
  return key;
}

bool SimulatedQueues::runNext() {
  const auto next = std::find_if(ready_.begin(), ready_.end(), [this](const Entry& entry) {
    return isMainQueueServed_ || entry.queue != main_->identity();
  });
  if (next == ready_.end()) return false;
  Entry entry = std::move(*next);
  ready_.erase(next);
  const std::uint64_t outer = std::exchange(current_, entry.queue);
  entry.task();
  entry.task = nullptr;  // what the closure holds is given up on its own queue
  current_ = outer;
  return true;
}

void SimulatedQueues::runUntilIdle() {
  constexpr int limit = 1'000'000;
  int count = 0;
  while (runNext()) {
    if (++count < limit) continue;
    ADD_FAILURE() << "tasks keep posting tasks";
    return;
  }
}

void SimulatedQueues::advance(std::chrono::nanoseconds duration) {
  const std::uint64_t target =
      clock_.monotonicNanoseconds() + static_cast<std::uint64_t>(std::max<std::int64_t>(duration.count(), 0));
  runUntilIdle();
  while (!delayed_.empty() && delayed_.begin()->first.first <= target) {
    const std::uint64_t due = delayed_.begin()->first.first;
    clock_.moveTo(std::max(due, clock_.monotonicNanoseconds()));
    while (!delayed_.empty() && delayed_.begin()->first.first <= due) {
      ready_.push_back(std::move(delayed_.begin()->second));
      delayed_.erase(delayed_.begin());
    }
    runUntilIdle();
  }
  clock_.moveTo(std::max(target, clock_.monotonicNanoseconds()));
}

void SimulatedQueues::shutDown() {
  isShutDown_ = true;
  // Moved out first: closures may post while they are destroyed.
  const auto ready = std::exchange(ready_, {});
  const auto delayed = std::exchange(delayed_, {});
}

void SimulatedQueues::runOn(platform::Queue& queue, Task task) {
  queue.post(std::move(task));
  runUntilIdle();
}

}  // namespace trovix::test
