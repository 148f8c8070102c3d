#include "platform/linux/WorkerPool.h"

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <utility>

namespace trovix::platform {
namespace {

thread_local const WorkerPool* currentPool = nullptr;

// Not 1: a context for one thread keeps a job's posts to itself until the job returns, and a job may end the process.
constexpr int concurrencyHint = 2;

}  // namespace

struct WorkerPool::Context {
  boost::asio::io_context io{concurrencyHint};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard = boost::asio::make_work_guard(io);
  boost::asio::steady_timer timer{io};
  std::atomic<bool> isStarted{false};
};

WorkerPool::WorkerPool(const char* name, std::size_t threadCount)
    : name_(name), threadCount_(threadCount), context_(std::make_unique<Context>()) {}

WorkerPool::~WorkerPool() = default;

void WorkerPool::post(std::shared_ptr<Job> job) {
  boost::asio::post(context_->io, [job = std::move(job)] { job->run(); });
  ensureStarted();
}

void WorkerPool::setAlarm(std::chrono::steady_clock::time_point when, std::weak_ptr<Job> job) {
  context_->timer.expires_at(when);
  context_->timer.async_wait([job = std::move(job)](const boost::system::error_code& error) {
    if (error) return;
    if (const auto locked = job.lock()) locked->run();
  });
  ensureStarted();
}

void WorkerPool::ensureStarted() {
  if (context_->isStarted.load(std::memory_order_acquire)) return;
  const MutexLock lock(mutex_);
  if (stopped_) return;
  while (threads_.size() < threadCount_) {
    // A system without threads to give is asked again by the next post.
    if (!startThread()) return;
  }
  context_->isStarted.store(true, std::memory_order_release);
}

void WorkerPool::addThread() {
  const MutexLock lock(mutex_);
  if (!stopped_) startThread();
}

bool WorkerPool::startThread() {
  WorkerThread thread;
  const bool isStarted = thread.start(name_, [self = shared_from_this()] {
    currentPool = self.get();
    self->context_->io.run();
  });
  if (isStarted) threads_.push_back(std::move(thread));
  return isStarted;
}

bool WorkerPool::isCurrent() const noexcept { return currentPool == this; }

bool WorkerPool::stopUntil(std::chrono::steady_clock::time_point deadline) {
  std::vector<WorkerThread> threads;
  {
    const MutexLock lock(mutex_);
    stopped_ = true;
    threads.swap(threads_);
  }
  context_->io.stop();
  bool allEnded = true;
  for (auto& thread : threads) allEnded = thread.joinUntil(deadline) && allEnded;
  return allEnded;
}

}  // namespace trovix::platform
