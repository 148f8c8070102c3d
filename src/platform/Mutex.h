#pragma once

#include <mutex>

// A mutex that clang's thread-safety analysis understands: members name the mutex that guards them, and the build
// fails where one is touched without it.
#if defined(__clang__)
#define TX_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TX_THREAD_ANNOTATION(x)
#endif
#define TX_GUARDED_BY(mutex) TX_THREAD_ANNOTATION(guarded_by(mutex))
#define TX_REQUIRES(mutex) TX_THREAD_ANNOTATION(requires_capability(mutex))
#define TX_EXCLUDES(mutex) TX_THREAD_ANNOTATION(locks_excluded(mutex))

namespace trovix::platform {

class TX_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() TX_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void unlock() TX_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  /// For a fork's handlers, which take and leave it in functions of their own.
  [[nodiscard]] std::mutex& native() noexcept { return mutex_; }

 private:
  std::mutex mutex_;
};

class TX_THREAD_ANNOTATION(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) TX_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() TX_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace trovix::platform
