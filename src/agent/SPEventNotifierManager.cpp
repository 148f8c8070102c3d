#include "quorrel/SPEventNotifierManager.h"

#include <algorithm>
#include <condition_variable>
#include <vector>

#include "platform/Mutex.h"

namespace quorrel {
namespace {

struct Registration {
  std::weak_ptr<QuorrelObserver> observer;
  bool removed = false;
  int deliveries = 0;  // callbacks that are running, on any thread
};

// The registrations whose callbacks the current thread is inside, innermost last.
thread_local std::vector<const Registration*> deliveriesOfThisThread;

bool sameObserver(const std::weak_ptr<QuorrelObserver>& a, const std::weak_ptr<QuorrelObserver>& b) {
  return !a.owner_before(b) && !b.owner_before(a);
}

}  // namespace

struct SPEventNotifierManager::Registry {
  std::mutex mutex;
  std::condition_variable delivered;
  // Guarded by mutex, as are the fields of each registration.
  std::vector<std::shared_ptr<Registration>> registrations;
};

SPEventNotifierManager::SPEventNotifierManager() : registry_(std::make_unique<Registry>()) {}
SPEventNotifierManager::~SPEventNotifierManager() = default;

void SPEventNotifierManager::addObserver(const std::shared_ptr<QuorrelObserver>& observer) {
  if (!observer) return;
  const std::lock_guard lock(registry_->mutex);
  auto& registrations = registry_->registrations;
  std::erase_if(registrations, [](const auto& registration) { return registration->observer.expired(); });
  const bool known = std::any_of(registrations.begin(), registrations.end(), [&](const auto& registration) {
    return sameObserver(registration->observer, observer);
  });
  if (!known) registrations.push_back(std::make_shared<Registration>(Registration{observer}));
}

void SPEventNotifierManager::removeObserver(const std::shared_ptr<QuorrelObserver>& observer) {
  std::unique_lock lock(registry_->mutex);
  auto& registrations = registry_->registrations;
  const auto found = std::find_if(registrations.begin(), registrations.end(), [&](const auto& registration) {
    return sameObserver(registration->observer, observer);
  });
  if (found == registrations.end()) return;
  const std::shared_ptr<Registration> registration = *found;
  registration->removed = true;
  registrations.erase(found);
  const auto own = std::count(deliveriesOfThisThread.begin(), deliveriesOfThisThread.end(), registration.get());
  registry_->delivered.wait(lock, [&] { return registration->deliveries <= own; });
}

void SPEventNotifierManager::sendEventToDelegates(
    const std::function<void(const std::shared_ptr<QuorrelObserver>&)>& block) {
  std::vector<std::shared_ptr<Registration>> registrations;
  {
    const std::lock_guard lock(registry_->mutex);
    registrations = registry_->registrations;
  }
  for (const auto& registration : registrations) {
    std::shared_ptr<QuorrelObserver> observer;
    {
      const std::lock_guard lock(registry_->mutex);
      if (registration->removed) continue;
      observer = registration->observer.lock();
      if (!observer) continue;
      ++registration->deliveries;
    }
    deliveriesOfThisThread.push_back(registration.get());
    block(observer);
    deliveriesOfThisThread.pop_back();
    {
      const std::lock_guard lock(registry_->mutex);
      --registration->deliveries;
    }
    registry_->delivered.notify_all();
  }
}

}  // namespace quorrel
