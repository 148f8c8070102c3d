#pragma once

#include <mutex>
#include <string_view>

namespace trovix::platform {
class AAAttribution;
class ADClient;
class ASIdentifierManager;
class ATTrackingManager;
class Frameworks;
class SKAdNetworkClass;
}  // namespace trovix::platform

namespace trovix {

/// Opens each of the platform's optional frameworks once, on first need; a failed load is not retried. A null pointer
/// is a class that is not there. Any thread.
class FrameworkLoader {
 public:
  explicit FrameworkLoader(platform::Frameworks& frameworks);

  [[nodiscard]] platform::ASIdentifierManager* txsdk_ASIdentifierManagerClass();
  [[nodiscard]] platform::ATTrackingManager* txsdk_ATTrackingManagerClass();
  [[nodiscard]] platform::ADClient* txsdk_ADClientClass();
  [[nodiscard]] platform::SKAdNetworkClass* txsdk_SKAdNetworkClass();
  [[nodiscard]] platform::AAAttribution* txsdk_AAAttributionClass();

 private:
  /// A result that is found out once.
  template <typename T>
  struct Once {
    std::once_flag flag;
    T result{};
  };

  /// Opens "/System/Library/Frameworks/NAME.framework/NAME" and logs how it went. The getters below call it once each.
  bool txsdk_load_framework_once(std::string_view name);
  // Whether the framework is open; the first call opens it.
  bool txsdk_handle_get_AdSupport();
  bool txsdk_handle_get_AppTrackingTransparency();
  bool txsdk_handle_get_iAd();
  bool txsdk_handle_get_StoreKit();
  bool txsdk_handle_get_AdServices();

  platform::Frameworks& frameworks_;
  Once<bool> adSupport_, appTrackingTransparency_, iAd_, storeKit_, adServices_;
  Once<platform::ASIdentifierManager*> identifierManager_;
  Once<platform::ATTrackingManager*> trackingManager_;
  Once<platform::ADClient*> adClient_;
  Once<platform::SKAdNetworkClass*> adNetwork_;
  Once<platform::AAAttribution*> attribution_;
};

}  // namespace trovix
