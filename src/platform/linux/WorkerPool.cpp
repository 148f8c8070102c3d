#include "platform/linux/WorkerPool.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <utility>

namespace trovix::platform {
namespace {

thread_local const WorkerPool* currentPool = nullptr;
thread_local bool isTheWorker = false;

// Not 1: a context for one thread keeps a job's posts to itself until the job returns, and a job may end the process.
constexpr int concurrencyHint = 2;

// A job that runs longer than this is stuck, as far as the others are concerned.
constexpr std::chrono::milliseconds patience(25);
// Looks without a job in sight before the relief goes to sleep.
constexpr int quietLooks = 2;

}  // namespace

struct WorkerPool::Context {
  boost::asio::io_context io{concurrencyHint};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard = boost::asio::make_work_guard(io);
  boost::asio::steady_timer timer{io};
  boost::asio::posix::stream_descriptor watched{io};
  std::atomic<bool> isStarted{false};
};

WorkerPool::WorkerPool(const char* name, Kind kind) : name_(name), kind_(kind), context_(std::make_unique<Context>()) {}

WorkerPool::~WorkerPool() = default;

void WorkerPool::post(const std::shared_ptr<Job>& job) {
  bool isTaken = false;
  {
    const MutexLock lock(mutex_);
    isTaken = !stopped_;
    if (isTaken) jobs_.push_back(job);
  }
  if (!isTaken) return job->drop();
  boost::asio::post(context_->io, [this] { runNext(); });
  ensureStarted();
}

void WorkerPool::runNext() {
  std::shared_ptr<Job> job;
  {
    const MutexLock lock(mutex_);
    if (jobs_.empty()) return;
    job = std::move(jobs_.front());
    jobs_.pop_front();
  }
  execute(*job);
}

void WorkerPool::setAlarm(std::chrono::steady_clock::time_point when, std::weak_ptr<Job> job) {
  context_->timer.expires_at(when);
  context_->timer.async_wait([this, job = std::move(job)](const boost::system::error_code& error) {
    if (error) return;
    if (const auto locked = job.lock()) execute(*locked);
  });
  ensureStarted();
}

bool WorkerPool::watch(int descriptor, std::weak_ptr<Job> job) {
  const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (own < 0) return false;
  boost::system::error_code error;
  context_->watched.assign(own, error);
  if (error) {
    ::close(own);
    return false;
  }
  awaitReadable(std::move(job));
  return true;
}

void WorkerPool::awaitReadable(std::weak_ptr<Job> job) {
  using Descriptor = boost::asio::posix::stream_descriptor;
  context_->watched.async_wait(Descriptor::wait_read,
                               [this, job = std::move(job)](const boost::system::error_code& error) mutable {
                                 const auto locked = error ? nullptr : job.lock();
                                 if (!locked) return;
                                 execute(*locked);
                                 awaitReadable(std::move(job));
                               });
}

void WorkerPool::execute(Job& job) {
  if (!isTheWorker) return job.run();
  ++beat_;
  if (isReliefAsleep_) wakeRelief();
  job.run();
  ++beat_;
}

void WorkerPool::ensureStarted() {
  if (context_->isStarted.load(std::memory_order_acquire)) return;
  const MutexLock lock(mutex_);
  if (stopped_ || context_->isStarted) return;
  // A system without threads to give is asked again by the next post.
  if (!startThread(Role::worker)) return;
  startThread(kind_ == Kind::relieved ? Role::relief : Role::worker);
  context_->isStarted.store(true, std::memory_order_release);
}

void WorkerPool::addThread() {
  const MutexLock lock(mutex_);
  if (!stopped_) startThread(Role::worker);
}

bool WorkerPool::startThread(Role role) {
  WorkerThread thread;
  const bool isFirst = threads_.empty();
  const bool isStarted = thread.start(name_, [self = shared_from_this(), role, isFirst] {
    currentPool = self.get();
    isTheWorker = isFirst && self->kind_ == Kind::relieved;
    if (role == Role::relief) return self->watchOver();
    self->context_->io.run();
  });
  if (isStarted) threads_.push_back(std::move(thread));
  return isStarted;
}

void WorkerPool::wakeRelief() {
  const MutexLock lock(mutex_);
  isReliefAsleep_ = false;
  changed_.notify_all();
}

// The relief looks now and then while jobs come, and not at all while none does.
void WorkerPool::watchOver() {
  const MutexLock lock(mutex_);
  while (!stopped_) {
    isReliefAsleep_ = true;
    while (!stopped_ && isReliefAsleep_ && beat_ % 2 == 0) changed_.wait(mutex_);
    isReliefAsleep_ = false;
    for (int quiet = 0; !stopped_ && quiet < quietLooks;) {
      std::uint64_t seen = 0;
      while (hasBeenStuck(seen)) {
        mutex_.unlock();
        while (beat_ == seen && !context_->io.stopped()) context_->io.run_one_for(patience);
        mutex_.lock();
      }
      quiet = beat_ == seen ? quiet + 1 : 0;
    }
  }
}

bool WorkerPool::hasBeenStuck(std::uint64_t& seen) {
  seen = beat_;
  const auto until = std::chrono::steady_clock::now() + patience;
  while (!stopped_ && std::chrono::steady_clock::now() < until) changed_.wait_until(mutex_, until);
  return !stopped_ && seen % 2 == 1 && beat_ == seen;
}

bool WorkerPool::isCurrent() const noexcept { return currentPool == this; }

bool WorkerPool::stopUntil(std::chrono::steady_clock::time_point deadline) {
  std::vector<WorkerThread> threads;
  std::deque<std::shared_ptr<Job>> dropped;
  {
    const MutexLock lock(mutex_);
    stopped_ = true;
    threads.swap(threads_);
    dropped.swap(jobs_);
    changed_.notify_all();
  }
  context_->io.stop();
  bool allEnded = true;
  for (auto& thread : threads) allEnded = thread.joinUntil(deadline) && allEnded;
  for (const auto& job : dropped) job->drop();
  return allEnded;
}

}  // namespace trovix::platform
