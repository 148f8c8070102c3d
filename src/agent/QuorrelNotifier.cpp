#include "quorrel/SPEventNotifierManager.h"

namespace quorrel {

QuorrelNotifier& QuorrelNotifier::sharedManager() {
  static auto* const manager = new QuorrelNotifier;  // outlives every observer's last call
  return *manager;
}

void QuorrelNotifier::postEventReferralsAttributionChanged(const QRReferralsAttributionChangedInfo& info) {
  sendEventToDelegates([&info](const std::shared_ptr<QuorrelObserver>& observer) {
    if (observer->quorrelReferralsAttributionChanged) observer->quorrelReferralsAttributionChanged(info);
  });
}

}  // namespace quorrel
