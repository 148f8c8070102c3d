#include "platform/linux/LinuxNotificationCenter.h"

#include <algorithm>
#include <condition_variable>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Mutex.h"

namespace trovix::platform {

/// One handler and the threads that run it.
class LinuxNotificationCenter::Observer {
 public:
  Observer(std::string_view name, Handler handler) : name_(name), handler_(std::move(handler)) {}

  [[nodiscard]] const std::string& name() const noexcept { return name_; }

  void call(const Notification& notification) {
    const std::thread::id self = std::this_thread::get_id();
    {
      const MutexLock lock(mutex_);
      if (isRemoved_) return;
      runningThreads_.push_back(self);
    }
    // A handler that throws ends the process here; whoever removes it would wait for ever.
    [&]() noexcept { handler_(notification); }();
    {
      const MutexLock lock(mutex_);
      runningThreads_.erase(std::find(runningThreads_.begin(), runningThreads_.end(), self));
    }
    changed_.notify_all();
  }

  /// No call starts after this; one that runs has ended, unless this thread is inside one.
  void remove() {
    const MutexLock lock(mutex_);
    isRemoved_ = true;
    const auto self = std::find(runningThreads_.begin(), runningThreads_.end(), std::this_thread::get_id());
    if (self != runningThreads_.end()) return;
    while (!runningThreads_.empty()) changed_.wait(mutex_);
  }

 private:
  const std::string name_;
  const Handler handler_;
  Mutex mutex_;
  std::condition_variable_any changed_;
  bool isRemoved_ TX_GUARDED_BY(mutex_) = false;
  std::vector<std::thread::id> runningThreads_ TX_GUARDED_BY(mutex_);
};

struct LinuxNotificationCenter::Observers {
  Mutex mutex;
  std::vector<std::shared_ptr<Observer>> list TX_GUARDED_BY(mutex);
};

class LinuxNotificationCenter::ObserverRegistration : public Registration {
 public:
  ObserverRegistration(std::shared_ptr<Observers> observers, std::shared_ptr<Observer> observer)
      : observers_(std::move(observers)), observer_(std::move(observer)) {}

  ~ObserverRegistration() override {
    {
      const MutexLock lock(observers_->mutex);
      std::erase(observers_->list, observer_);
    }
    observer_->remove();
  }

 private:
  const std::shared_ptr<Observers> observers_;
  const std::shared_ptr<Observer> observer_;
};

LinuxNotificationCenter::LinuxNotificationCenter() : observers_(std::make_shared<Observers>()) {}

LinuxNotificationCenter::~LinuxNotificationCenter() = default;

std::unique_ptr<NotificationCenter::Registration> LinuxNotificationCenter::addObserver(std::string_view name,
                                                                                       Handler handler) {
  auto observer = std::make_shared<Observer>(name, std::move(handler));
  auto registration = std::make_unique<ObserverRegistration>(observers_, observer);
  const MutexLock lock(observers_->mutex);
  observers_->list.push_back(std::move(observer));
  return registration;
}

void LinuxNotificationCenter::post(const Notification& notification) {
  std::vector<std::shared_ptr<Observer>> called;
  {
    const MutexLock lock(observers_->mutex);
    for (const auto& observer : observers_->list) {
      if (observer->name() == notification.name) called.push_back(observer);
    }
  }
  for (const auto& observer : called) observer->call(notification);
}

}  // namespace trovix::platform
