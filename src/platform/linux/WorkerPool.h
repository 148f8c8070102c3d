#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
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
    /// In place of the run that a stopped pool does not give: lets go of what waits for it.
    virtual void drop() {}
  };
  enum class Kind : std::uint8_t {
    /// One thread, so that jobs hand on to each other without a wake-up. While a job of its does not return, a second
    /// one, which sleeps otherwise, runs the others.
    relieved,
    /// Two threads, for jobs that may block.
    pair,
  };

  WorkerPool(const char* name, Kind kind);
  ~WorkerPool();

  /// A job that the pool stops before is dropped, outside locks, on the thread that posts or stops.
  void post(const std::shared_ptr<Job>& job);
  /// Runs the job at that time, in place of an earlier alarm. The caller keeps other calls of this out meanwhile.
  void setAlarm(std::chrono::steady_clock::time_point when, std::weak_ptr<Job> job);
  /// Runs the job whenever the descriptor, of which the pool keeps a duplicate, is readable. Once per pool, unless the
  /// answer is that the system had no descriptor to give.
  [[nodiscard]] bool watch(int descriptor, std::weak_ptr<Job> job);
  /// One more thread, to stand in for one that does not come back.
  void addThread();
  /// Whether the caller is a thread of this pool.
  [[nodiscard]] bool isCurrent() const noexcept;
  /// No further job starts. Answers whether all threads ended in time; one that did not is let go.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);

 private:
  struct Context;
  enum class Role : std::uint8_t { worker, relief };

  void ensureStarted();
  bool startThread(Role role) TX_REQUIRES(mutex_);
  void runNext();
  void execute(Job& job);
  void awaitReadable(std::weak_ptr<Job> job);
  void wakeRelief();
  void watchOver();
  bool hasBeenStuck(std::uint64_t& seen) TX_REQUIRES(mutex_);

  const char* const name_;
  const Kind kind_;
  const std::unique_ptr<Context> context_;
  /// Jobs of the one worker that began and that ended: odd while it is in one.
  std::atomic<std::uint64_t> beat_{0};
  std::atomic<bool> isReliefAsleep_{false};

  Mutex mutex_;
  std::condition_variable_any changed_;
  std::vector<WorkerThread> threads_ TX_GUARDED_BY(mutex_);
  /// Here and not in the context's handlers, which last as long as the pool: a job may hold the pool.
  std::deque<std::shared_ptr<Job>> jobs_ TX_GUARDED_BY(mutex_);
  bool stopped_ TX_GUARDED_BY(mutex_) = false;
};

}  // namespace trovix::platform
