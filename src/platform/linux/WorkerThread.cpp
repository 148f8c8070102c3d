#include "platform/linux/WorkerThread.h"

#include <pthread.h>

#include <csignal>
#include <system_error>
#include <utility>

namespace trovix::platform {

WorkerThread::~WorkerThread() {
  if (thread_.joinable()) thread_.detach();
}

bool WorkerThread::start(const char* name, std::function<void()> body) {
  // A callback that throws ends the process here, and is not kept in the task's result.
  std::packaged_task<void()> task([name, body = std::move(body)]() noexcept {
    // On the thread itself it is one call; the maker would go by way of a file.
    pthread_setname_np(pthread_self(), name);
    body();
  });
  auto ended = task.get_future();
  // A thread inherits the mask of its maker. Faults stay deliverable: blocked ones would kill without a handler.
  sigset_t blocked;
  sigset_t previous;
  sigfillset(&blocked);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGPROF}) sigdelset(&blocked, fault);
  pthread_sigmask(SIG_SETMASK, &blocked, &previous);
  try {
    thread_ = std::thread(std::move(task));
    ended_ = std::move(ended);
  } catch (const std::system_error&) {
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return thread_.joinable();
}

bool WorkerThread::joinUntil(std::chrono::steady_clock::time_point deadline) {
  if (!thread_.joinable()) return true;
  if (isCurrent() || ended_.wait_until(deadline) != std::future_status::ready) {
    thread_.detach();
    return false;
  }
  thread_.join();
  return true;
}

}  // namespace trovix::platform
