#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "platform/Mutex.h"
#include "platform/linux/WorkerThread.h"

namespace trovix::platform {

/// Threads that run jobs in the order of posting. They start with the first job, and sleep while there is none. Every
/// thread keeps the pool alive. Any thread, except where it is said.
class WorkerPool : public std::enable_shared_from_this<WorkerPool> {
 public:
  class Job {
   public:
    virtual ~Job() = default;
    virtual void run() = 0;
  };

  WorkerPool(const char* name, std::size_t threadCount);
  ~WorkerPool();

  void post(std::shared_ptr<Job> job);
  /// Runs the job at that time, in place of an earlier alarm. The caller keeps other calls of this out meanwhile.
  void setAlarm(std::chrono::steady_clock::time_point when, std::weak_ptr<Job> job);
  /// One more thread, to stand in for one that does not come back.
  void addThread();
  /// Whether the caller is a thread of this pool.
  [[nodiscard]] bool isCurrent() const noexcept;
  /// No further job starts. Answers whether all threads ended in time; one that did not is let go.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);

 private:
  struct Context;

  void ensureStarted();
  bool startThread() TX_REQUIRES(mutex_);

  const char* const name_;
  const std::size_t threadCount_;
  const std::unique_ptr<Context> context_;
  Mutex mutex_;
  std::vector<WorkerThread> threads_ TX_GUARDED_BY(mutex_);
  bool stopped_ TX_GUARDED_BY(mutex_) = false;
};

}  // namespace trovix::platform
