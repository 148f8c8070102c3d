#pragma once

#include <memory>
#include <utility>

#include "common/Lifetime.h"
#include "platform/Mutex.h"
#include "trovix/TrovixLibDelegate.h"
#include "trovix/platform/Platform.h"

namespace trovix {

class Settings;

/// Hands link results to the application: to the deep link delegate when it takes them, else to the older operations of
/// the SDK's delegate. Any thread; every call of a delegate is made on the main queue.
class DeepLinkDelivery {
 public:
  DeepLinkDelivery(platform::Platform& platform, Settings& settings, Lifetime lifetime)
      : platform_(platform), settings_(settings), lifetime_(std::move(lifetime)) {}

  void setDeepLinkDelegate(std::weak_ptr<TrovixDeepLinkDelegate> delegate);
  [[nodiscard]] std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate() const;

  /// Whether the deep link delegate implements the operation, and the call is scheduled. It goes to whoever is the
  /// delegate by then.
  bool willResolveDeepLink(const TrovixDeepLinkResult& result);
  void onAppOpenAttribution(const Dictionary& attributionData);
  void onAppOpenAttributionFailure(const Error& error);

 private:
  platform::Platform& platform_;
  Settings& settings_;
  const Lifetime lifetime_;
  mutable platform::Mutex mutex_;
  std::weak_ptr<TrovixDeepLinkDelegate> deepLinkDelegate_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
