#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Names of the application's notifications, and the keys of the launch options.
namespace application {
inline constexpr const char* didFinishLaunching = "UIApplicationDidFinishLaunchingNotification";
inline constexpr const char* didBecomeActive = "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* didEnterBackground = "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* willTerminate = "UIApplicationWillTerminateNotification";

/// Text: the link that opened the application.
inline constexpr const char* launchURLKey = "UIApplicationLaunchOptionsURLKey";
/// Text: who opened it.
inline constexpr const char* launchSourceApplicationKey = "UIApplicationLaunchOptionsSourceApplicationKey";
/// Dictionary whose values may be user activities: dictionaries with "activityType" and "webpageURL".
inline constexpr const char* launchUserActivityDictionaryKey = "UIApplicationLaunchOptionsUserActivityDictionaryKey";
/// The activity type of a universal link.
inline constexpr const char* browsingWebActivityType = "NSUserActivityTypeBrowsingWeb";
}  // namespace application

/// A notice to the observers of its name.
struct Notification {
  std::string name;
  std::optional<Dictionary> userInfo;
};

/// The default notification center. Handlers run on the posting thread, before `post` returns, in the order of
/// registration. Any thread; a handler may add and remove observers, and must not throw: that ends the
/// process.
class TROVIX_API NotificationCenter {
 public:
  /// Called with each notification of the name it was registered for.
  using Handler = std::function<void(const Notification&)>;
  /// Unregisters when it is destroyed, waiting for a running handler unless called from it.
  class Registration {
   public:
    virtual ~Registration() = default;
  };

  virtual ~NotificationCenter() = default;
  /// Registers the handler for notifications of that name, for as long as the registration lives.
  [[nodiscard]] virtual std::unique_ptr<Registration> addObserver(std::string_view name, Handler handler) = 0;
  /// Returns once every observer of that name has been called.
  virtual void post(const Notification& notification) = 0;
};

}  // namespace trovix::platform
