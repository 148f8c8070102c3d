#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/Mutex.h"
#include "platform/linux/WorkerThread.h"
#include "trovix/platform/LinuxPlatform.h"
#include "trovix/platform/Queues.h"

namespace trovix::platform {

class DelayedTasks;
class QueueHub;

/// The main queue: whoever serves it, one task runs at a time, in the order of posting. A task may serve the queue
/// itself; the tasks behind it then run inside it. Any thread.
class LinuxMainQueue : public SerialQueue, public std::enable_shared_from_this<LinuxMainQueue> {
 public:
  using Executor = std::function<void(std::function<void()>)>;

  LinuxMainQueue(MainQueueMode mode, Executor executor, std::shared_ptr<QueueHub> hub,
                 std::shared_ptr<DelayedTasks> delayed);
  ~LinuxMainQueue() override;

  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> makeOneShotTimer(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] bool isCurrent() const override;
  [[nodiscard]] const std::string& label() const override { return label_; }

  /// Whether there is an executor or an own thread, or a loop runs or has run.
  [[nodiscard]] bool isServed() const;
  void runLoop();
  /// A stop that comes before the loop ends the next one at once.
  void stopLoop();
  /// Runs tasks until `done`, asked after every task and at least every `slice`; answers whether it was done.
  bool serveUntil(const std::function<bool()>& done, std::chrono::steady_clock::time_point deadline,
                  std::chrono::nanoseconds slice);
  /// Loops return and no further task starts. Answers whether the own thread ended in time.
  bool endUntil(std::chrono::steady_clock::time_point deadline);

 private:
  void serveOne();
  bool runNext() TX_REQUIRES(mutex_);
  [[nodiscard]] bool canRun() const TX_REQUIRES(mutex_);

  const MainQueueMode mode_;
  const Executor executor_;
  const std::shared_ptr<QueueHub> hub_;
  const std::shared_ptr<DelayedTasks> delayed_;
  const std::string label_ = "main";

  mutable Mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<Task> tasks_ TX_GUARDED_BY(mutex_);
  /// Tasks on the stack of the thread that serves.
  int depth_ TX_GUARDED_BY(mutex_) = 0;
  std::thread::id owner_ TX_GUARDED_BY(mutex_);
  /// Turns of the executor that came while another of its threads ran a task.
  int missedTurns_ TX_GUARDED_BY(mutex_) = 0;
  bool isStopAsked_ TX_GUARDED_BY(mutex_) = false;
  bool hasEnded_ TX_GUARDED_BY(mutex_) = false;
  bool wasServed_ TX_GUARDED_BY(mutex_) = false;
  bool isThreadStarted_ TX_GUARDED_BY(mutex_) = false;
  WorkerThread thread_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
