#pragma once

#include <functional>
#include <memory>

#include "quorrel/QuorrelTypes.h"
#include "trovix/Export.h"

namespace quorrel {

/// Weak observers and the delivery of events to them. Any thread; observers may be added and removed while an event is
/// on its way, from a callback too.
class TROVIX_API SPEventNotifierManager {
 public:
  SPEventNotifierManager();
  virtual ~SPEventNotifierManager();
  SPEventNotifierManager(const SPEventNotifierManager&) = delete;
  SPEventNotifierManager& operator=(const SPEventNotifierManager&) = delete;

  /// An observer that is registered already is not registered again.
  void addObserver(const std::shared_ptr<QuorrelObserver>& observer);
  /// Waits for the running callbacks of that observer, unless it is called from one of them. Two callbacks that run at
  /// once must not remove each other's observers.
  void removeObserver(const std::shared_ptr<QuorrelObserver>& observer);

 protected:
  /// Calls the block once per registered observer that is alive, in the order of registration.
  void sendEventToDelegates(const std::function<void(const std::shared_ptr<QuorrelObserver>&)>& block);

 private:
  struct Registry;
  std::unique_ptr<Registry> registry_;
};

/// Tells observers of changed attributions.
class TROVIX_API QuorrelNotifier final : public SPEventNotifierManager {
 public:
  /// Made on first use, never destroyed.
  [[nodiscard]] static QuorrelNotifier& sharedManager();
  /// The class operations work on the shared manager.
  static void observeEventsFor(const std::shared_ptr<QuorrelObserver>& observer) {
    sharedManager().addObserver(observer);
  }
  static void removeObserverFor(const std::shared_ptr<QuorrelObserver>& observer) {
    sharedManager().removeObserver(observer);
  }

  /// Observers that do not implement the operation are passed over.
  void postEventReferralsAttributionChanged(const QRReferralsAttributionChangedInfo& info);
};

}  // namespace quorrel
