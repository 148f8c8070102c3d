#pragma once

#include <atomic>
#include <cstdint>

#include "platform/linux/ProcessExit.h"

namespace trovix::platform {

class PoolSerialQueue;

/// What the queues and the URL sessions of one platform share: whether it still works, and how much is under way.
/// Who hands work on counts the new place before it leaves the old one, so that zero means idle. Any thread.
class QueueHub {
 public:
  enum class State : std::uint8_t { running, draining, stopped };

  /// Whether tasks are still taken. Never in the child of a fork: its threads are the parent's.
  [[nodiscard]] bool isOpen() const noexcept { return state_ != State::stopped && isOwnProcess(); }
  [[nodiscard]] bool isRunning() const noexcept { return state_ == State::running && isOwnProcess(); }
  [[nodiscard]] bool isOwnProcess() const noexcept { return generation_ == forkGeneration(); }
  void setState(State state) noexcept { state_ = state; }

  // Tasks that wait or run, and what waits for something else: a time, or the wire.
  void beginTask() noexcept { ++activity_; }
  void endTask() noexcept { --activity_; }
  void beginWait() noexcept { activity_ += oneWait; }
  void endWait() noexcept { activity_ -= oneWait; }

  /// Nothing waits or runs but the tasks on the caller's own stack.
  [[nodiscard]] bool isIdle() const noexcept { return activity_ == ownTasks(); }
  /// As above, waits aside.
  [[nodiscard]] bool hasNoTasks() const noexcept { return activity_ % oneWait == ownTasks(); }

 private:
  static constexpr std::uint64_t oneWait = std::uint64_t{1} << 32;

  [[nodiscard]] std::uint64_t ownTasks() const noexcept;

  const unsigned generation_ = forkGeneration();
  std::atomic<State> state_{State::running};
  std::atomic<std::uint64_t> activity_{0};
};

/// A task on this thread's stack. Its task counts as ended when the frame goes.
class TaskFrame {
 public:
  /// `serialQueue` is the queue when it takes turns on a pool.
  TaskFrame(QueueHub& hub, const void* queue, PoolSerialQueue* serialQueue = nullptr) noexcept
      : hub_(hub), queue_(queue), serialQueue_(serialQueue), outer_(current_) {
    current_ = this;
  }
  ~TaskFrame() {
    current_ = outer_;
    hub_.endTask();
  }
  TaskFrame(const TaskFrame&) = delete;
  TaskFrame& operator=(const TaskFrame&) = delete;

  /// Whether a task of that queue is on the caller's stack.
  [[nodiscard]] static bool isInside(const void* queue) noexcept;
  [[nodiscard]] static const TaskFrame* current() noexcept { return current_; }
  [[nodiscard]] const TaskFrame* outer() const noexcept { return outer_; }
  [[nodiscard]] const QueueHub& hub() const noexcept { return hub_; }
  [[nodiscard]] const void* queue() const noexcept { return queue_; }
  [[nodiscard]] PoolSerialQueue* serialQueue() const noexcept { return serialQueue_; }

 private:
  static thread_local const TaskFrame* current_;

  QueueHub& hub_;
  const void* const queue_;
  PoolSerialQueue* const serialQueue_;
  const TaskFrame* const outer_;
};

}  // namespace trovix::platform
