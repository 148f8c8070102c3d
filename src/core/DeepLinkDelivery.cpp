#include "core/DeepLinkDelivery.h"

#include "common/Log.h"
#include "core/Settings.h"
#include "trovix/platform/Queues.h"

namespace trovix {

void DeepLinkDelivery::setDeepLinkDelegate(std::weak_ptr<TrovixDeepLinkDelegate> delegate) {
  const platform::MutexLock lock(mutex_);
  deepLinkDelegate_ = std::move(delegate);
}

std::shared_ptr<TrovixDeepLinkDelegate> DeepLinkDelivery::deepLinkDelegate() const {
  const platform::MutexLock lock(mutex_);
  return deepLinkDelegate_.lock();
}

bool DeepLinkDelivery::willResolveDeepLink(const TrovixDeepLinkResult& result) {
  const auto delegate = deepLinkDelegate();
  if (!delegate || !delegate->didResolveDeepLink) return false;
  platform_.queues.mainQueue().post(lifetime_.guard([this, result] {
    const auto called = deepLinkDelegate();
    if (called && called->didResolveDeepLink) called->didResolveDeepLink(result);
  }));
  return true;
}

void DeepLinkDelivery::onAppOpenAttribution(const Dictionary& attributionData) {
  const auto delegate = settings_.delegate();
  if (!delegate || !delegate->onAppOpenAttribution) {
    TX_LOG(debug, "[GCD-E04] Delegate does not respond to {} with object:\n{}",
           "onAppOpenAttribution:", attributionData);
    return;
  }
  TX_LOG(debug, "[GCD-A02] -[{} onAppOpenAttribution:]:\n{}", delegate->className, attributionData);
  platform_.queues.mainQueue().post([weak = std::weak_ptr(delegate), attributionData] {
    const auto called = weak.lock();
    if (called && called->onAppOpenAttribution) called->onAppOpenAttribution(attributionData);
  });
}

void DeepLinkDelivery::onAppOpenAttributionFailure(const Error& error) {
  const auto delegate = settings_.delegate();
  if (!delegate || !delegate->onAppOpenAttributionFailure) {
    TX_LOG(debug, "[GCD-E04] Delegate does not respond to {} with object:\n{}", "onAppOpenAttributionFailure:", error);
    return;
  }
  TX_LOG(debug, "[GCD-A02] -[{} onAppOpenAttributionFailure:]:\n{}", delegate->className, error);
  platform_.queues.mainQueue().post([weak = std::weak_ptr(delegate), error] {
    const auto called = weak.lock();
    if (called && called->onAppOpenAttributionFailure) called->onAppOpenAttributionFailure(error);
  });
}

}  // namespace trovix
