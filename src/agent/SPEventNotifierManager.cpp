#include "quorrel/SPEventNotifierManager.h"

#include <algorithm>
#include <condition_variable>
#include <vector>

#include "platform/Mutex.h"

namespace quorrel {

using trovix::platform::Mutex;
using trovix::platform::MutexLock;

namespace {

struct Registration {
  std::weak_ptr<QuorrelObserver> observer;
  bool removed = false;
  int deliveries = 0;  // callbacks that are running, on any thread

  [[nodiscard]] bool isOf(const std::shared_ptr<QuorrelObserver>& other) const noexcept {
    return !observer.owner_before(other) && !other.owner_before(observer);
  }
};

// A callback on this thread's stack. Linked frames and no container: a thread's containers are destroyed at exit before
// the last events are delivered on it.
class Delivery {
 public:
  explicit Delivery(const Registration& registration) noexcept : registration_(registration), outer_(innermost_) {
    innermost_ = this;
  }
  ~Delivery() { innermost_ = outer_; }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  [[nodiscard]] static bool isInside(const std::shared_ptr<QuorrelObserver>& observer) noexcept {
    for (const auto* delivery = innermost_; delivery != nullptr; delivery = delivery->outer_) {
      if (delivery->registration_.isOf(observer)) return true;
    }
    return false;
  }

 private:
  static thread_local const Delivery* innermost_;

  const Registration& registration_;
  const Delivery* const outer_;
};

thread_local const Delivery* Delivery::innermost_ = nullptr;

}  // namespace

struct SPEventNotifierManager::Registry {
  Mutex mutex;
  std::condition_variable_any delivered;
  // The mutex guards the fields of each registration too.
  // A removed one stays until its last callback has returned, so that whoever removes it too can wait for that.
  std::vector<std::shared_ptr<Registration>> registrations TX_GUARDED_BY(mutex);

  void forgetRemoved() TX_REQUIRES(mutex) {
    std::erase_if(registrations, [](const auto& each) { return each->removed && each->deliveries == 0; });
  }
  [[nodiscard]] bool isRemoving(const std::shared_ptr<QuorrelObserver>& observer) const TX_REQUIRES(mutex) {
    return std::any_of(registrations.begin(), registrations.end(),
                       [&](const auto& each) { return each->removed && each->isOf(observer); });
  }
};

SPEventNotifierManager::SPEventNotifierManager() : registry_(std::make_unique<Registry>()) {}
SPEventNotifierManager::~SPEventNotifierManager() = default;

void SPEventNotifierManager::addObserver(const std::shared_ptr<QuorrelObserver>& observer) {
  if (!observer) return;
  const MutexLock lock(registry_->mutex);
  auto& registrations = registry_->registrations;
  std::erase_if(registrations, [](const auto& registration) { return registration->observer.expired(); });
  const bool known = std::any_of(registrations.begin(), registrations.end(), [&](const auto& registration) {
    return !registration->removed && registration->isOf(observer);
  });
  if (!known) registrations.push_back(std::make_shared<Registration>(Registration{observer}));
}

void SPEventNotifierManager::removeObserver(const std::shared_ptr<QuorrelObserver>& observer) {
  const MutexLock lock(registry_->mutex);
  for (const auto& registration : registry_->registrations) {
    if (registration->isOf(observer)) registration->removed = true;
  }
  registry_->forgetRemoved();
  // Callbacks that remove their own observer at the same time would wait for each other.
  if (Delivery::isInside(observer)) return;
  while (registry_->isRemoving(observer)) registry_->delivered.wait(registry_->mutex);
}

void SPEventNotifierManager::sendEventToDelegates(
    const std::function<void(const std::shared_ptr<QuorrelObserver>&)>& block) {
  std::vector<std::shared_ptr<Registration>> registrations;
  {
    const MutexLock lock(registry_->mutex);
    registrations = registry_->registrations;
  }
  for (const auto& registration : registrations) {
    std::shared_ptr<QuorrelObserver> observer;
    {
      const MutexLock lock(registry_->mutex);
      if (registration->removed) continue;
      observer = registration->observer.lock();
      if (!observer) continue;
      ++registration->deliveries;
    }
    // A callback that throws ends the process here; whoever removes the observer would wait for ever.
    [&]() noexcept {
      const Delivery delivery(*registration);
      block(observer);
    }();
    observer.reset();  // whoever waits for this callback may take what the observer uses away after it
    {
      const MutexLock lock(registry_->mutex);
      --registration->deliveries;
      registry_->forgetRemoved();
    }
    registry_->delivered.notify_all();
  }
}

}  // namespace quorrel
