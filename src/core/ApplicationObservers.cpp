#include "core/ApplicationObservers.h"

#include <utility>

#include "core/LaunchLifecycle.h"
#include "network/Endpoints.h"

namespace trovix {
namespace {

constexpr const char* urlOverrides = "TrovixArguments.URLs";

}  // namespace

void ApplicationObservers::observe() {
  using platform::Notification;
  const platform::MutexLock lock(mutex_);
  urls_ = center_.addObserver(urlOverrides, receiveTrovixURLs);
  didFinishLaunching_ = center_.addObserver(platform::application::didFinishLaunching,
                                            lifetime_.guard([this](const Notification& posted) {
                                              lifecycle_.applicationDidFinishLaunchingNotification(posted);
                                            }));
  didEnterBackground_ = center_.addObserver(
      platform::application::didEnterBackground,
      lifetime_.guard([this](const Notification&) { lifecycle_.applicationDidEnterBackgroundNotification(); }));
  willTerminate_ =
      center_.addObserver(platform::application::willTerminate,
                          lifetime_.guard([this](const Notification&) { applicationWillTerminateNotification(); }));
}

void ApplicationObservers::receiveTrovixURLs(const platform::Notification& notification) {
  if (!txsdk_exists(notification.userInfo)) return;
  setURLComparisonEnabled();
  TXSDKUpdateURLs(*notification.userInfo);
}

void ApplicationObservers::applicationWillTerminateNotification() {
  Registration background, launching, termination;
  {
    const platform::MutexLock lock(mutex_);
    background = std::move(didEnterBackground_);
    launching = std::move(didFinishLaunching_);
    termination = std::move(willTerminate_);
  }
  // Each waits for its running handler, so not under the lock.
  background.reset();
  launching.reset();
  termination.reset();
}

}  // namespace trovix
