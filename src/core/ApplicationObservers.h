#pragma once

#include <memory>

#include "common/Lifetime.h"
#include "platform/Mutex.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix {

class LaunchLifecycle;

/// The SDK's registrations with the notification center. Any thread.
class ApplicationObservers {
 public:
  ApplicationObservers(platform::NotificationCenter& center, LaunchLifecycle& lifecycle, Lifetime lifetime)
      : center_(center), lifecycle_(lifecycle), lifetime_(std::move(lifetime)) {}

  /// Once, when the SDK is ready for what may come.
  void observe();

 private:
  using Registration = std::unique_ptr<platform::NotificationCenter::Registration>;

  // Posting thread.
  static void receiveTrovixURLs(const platform::Notification& notification);
  /// From here on no lifecycle notification arrives; address overrides still do.
  void applicationWillTerminateNotification();

  platform::NotificationCenter& center_;
  LaunchLifecycle& lifecycle_;
  const Lifetime lifetime_;

  platform::Mutex mutex_;
  Registration urls_ TX_GUARDED_BY(mutex_);
  Registration didFinishLaunching_ TX_GUARDED_BY(mutex_);
  Registration didEnterBackground_ TX_GUARDED_BY(mutex_);
  Registration willTerminate_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
