#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "trovix/Export.h"

namespace trovix::platform {

/// What a queue runs. Must not throw.
using Task = std::function<void()>;

/// A timer. Destroying it invalidates it, which its own task may do. Any thread.
class TROVIX_API Timer {
 public:
  virtual ~Timer() = default;
  /// No further firing starts; one that is running finishes.
  virtual void invalidate() = 0;
  /// Whether it may fire again.
  [[nodiscard]] virtual bool isValid() const = 0;
};

/// Runs tasks. Posting never runs the task before it returns, and may be done from any thread.
class TROVIX_API Queue {
 public:
  virtual ~Queue() = default;
  /// Hands the task over; does not wait for it.
  virtual void post(Task task) = 0;
  /// Runs the task once the delay has passed; zero or less is the next turn.
  virtual void postAfter(std::chrono::nanoseconds delay, Task task) = 0;
  /// As `postAfter`, unless the timer is invalidated first: nothing waits for the task any more then.
  [[nodiscard]] virtual std::unique_ptr<Timer> makeOneShotTimer(std::chrono::nanoseconds delay, Task task) = 0;
  /// Whether the caller runs on this queue.
  [[nodiscard]] virtual bool isCurrent() const = 0;
};

/// One task at a time, in the order of posting.
class TROVIX_API SerialQueue : public Queue {
 public:
  /// The name that it was made with.
  [[nodiscard]] virtual const std::string& label() const = 0;
};

/// The device's queues. Any thread.
class TROVIX_API Queues {
 public:
  virtual ~Queues() = default;
  /// A new serial queue. It outlives its handle until its last task has run.
  [[nodiscard]] virtual std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) = 0;
  /// The application's main queue; it is served by the host.
  [[nodiscard]] virtual SerialQueue& mainQueue() = 0;
  /// Whether anybody serves the main queue: a running loop, an executor of the host, or a thread of the library.
  [[nodiscard]] virtual bool isMainQueueServed() const = 0;
  /// Tasks in no particular order, possibly side by side.
  [[nodiscard]] virtual Queue& globalQueue() = 0;
  /// Fires on the main queue every `interval`, the first time after one interval.
  [[nodiscard]] virtual std::unique_ptr<Timer> makeRepeatingTimer(std::chrono::nanoseconds interval, Task task) = 0;
};

}  // namespace trovix::platform
