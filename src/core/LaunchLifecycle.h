#pragma once

#include <atomic>
#include <utility>

#include "common/Lifetime.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/NotificationCenter.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class ConversionRules;
class DeepLinks;
class EventDispatch;
class Installation;
class SessionState;
class Settings;
class TXSDKHTTPClientProtocol;
class TXSDKPerformance;
class TXSDKStorageProtocol;
class TXSDKiAdClient;
class TrovixProxyManager;
class TrovixUtils;

/// Decides when a launch is reported, and reacts to the application's notifications.
class LaunchLifecycle {
 public:
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    SessionState& session;
    Installation& installation;
    TXSDKStorageProtocol& storage;
    TXSDKiAdClient& iAdClient;
    TrovixUtils& utils;
    TrovixProxyManager& remoteDebugging;
    TXSDKHTTPClientProtocol& http;
    TXSDKPerformance& performance;
    EventDispatch& dispatch;
    DeepLinks& deepLinks;
    ConversionRules& rules;
    Lifetime lifetime;
  };
  explicit LaunchLifecycle(Collaborators collaborators) : with_(std::move(collaborators)) {}

  /// Any thread.
  void startWithCompletionHandler(TrovixLib::Completion completion);

  // Posting thread.
  void applicationDidFinishLaunchingNotification(const platform::Notification& notification);
  void applicationDidEnterBackgroundNotification();

 private:
  void warnOfUnservedMainQueue();
  void sendRemoteDebuggingData();

  // Serial queue.
  void launch(TrovixLib::Completion completion);
  void relaunch(double lastLaunchTime, bool isFirstLaunch, TrovixLib::Completion completion);
  void checkSearchAdsOnce();
  void didReceiveSearchAds(const Dictionary& attribution);
  void handOverFromAppClip();

  // Posting thread.
  /// Whether the launch options hold a link, which is then on its way.
  [[nodiscard]] bool openLaunchURL(const Dictionary& launchOptions);
  void continueLaunchActivity(const Dictionary& launchOptions);
  void sendClosingReport();

  Collaborators with_;
  std::atomic<bool> didWarnOfMainQueue_{false};
  bool didCheckSearchAds_ = false;  // serial queue only
};

}  // namespace trovix
