#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "trovix/platform/Clock.h"
#include "trovix/platform/Queues.h"

namespace trovix::test {

/// Stands still until the queues move it, or a test sets the wall clock.
class SimulatedClock final : public platform::Clock {
 public:
  /// `wallTime` is read at the start and kept up to date: it outlives the process.
  explicit SimulatedClock(double& wallTime) : wallTime_(wallTime), origin_(wallTime) {}

  double now() const override { return wallTime_; }
  std::uint64_t monotonicNanoseconds() const override { return monotonic_; }

  /// The user sets the wall clock; the monotonic one does not notice.
  void set(double secondsSince1970);
  void moveTo(std::uint64_t monotonicNanoseconds);

 private:
  double& wallTime_;
  double origin_;  // wall time at originAt_, so that many small steps add no rounding
  std::uint64_t monotonic_ = 5'000'000'000'000;
  std::uint64_t originAt_ = monotonic_;
};

/// Every queue on the test's own thread. Tasks run only inside `runUntilIdle` and `advance`, in the order of posting
/// over all queues.
class SimulatedQueues final : public platform::Queues {
 public:
  explicit SimulatedQueues(SimulatedClock& clock);
  ~SimulatedQueues() override;

  std::shared_ptr<platform::SerialQueue> makeSerialQueue(std::string label) override;
  platform::SerialQueue& mainQueue() override;
  bool isMainQueueServed() const override { return isMainQueueServed_; }
  platform::Queue& globalQueue() override;
  std::unique_ptr<platform::Timer> makeRepeatingTimer(std::chrono::nanoseconds interval, platform::Task task) override;

  /// Tasks of an unserved main queue wait.
  void setMainQueueServed(bool served) { isMainQueueServed_ = served; }
  /// Runs the next ready task; false when there is none.
  bool runNext();
  void runUntilIdle();
  /// Moves both clocks through every task that falls due, running to idle at each.
  void advance(std::chrono::nanoseconds duration);
  /// Drops every task, as the death of the process does; later ones are dropped too.
  void shutDown();
  /// Delayed tasks and timers that are still to come.
  std::size_t delayedCount() const { return delayed_.size(); }
  /// Runs the task on the serial queue and everything else to idle.
  void runOn(platform::Queue& queue, platform::Task task);

 private:
  class Queue;
  class Timer;
  struct TimerState;
  using Key = std::pair<std::uint64_t, std::uint64_t>;  // moment and order of posting
  struct Entry {
    std::uint64_t queue;
    platform::Task task;
  };

  std::shared_ptr<Queue> makeQueue(std::string label);
  Key postAt(std::uint64_t due, Entry entry);
  void scheduleFiring(const std::shared_ptr<TimerState>& timer, std::uint64_t due);

  SimulatedClock& clock_;
  std::uint64_t lastQueue_ = 0;
  std::uint64_t current_ = 0;  // the queue whose task runs; 0 outside of tasks
  std::uint64_t sequence_ = 0;
  bool isMainQueueServed_ = true;
  bool isShutDown_ = false;
  std::deque<Entry> ready_;
  std::map<Key, Entry> delayed_;
  std::shared_ptr<Queue> main_, global_;
};

}  // namespace trovix::test
