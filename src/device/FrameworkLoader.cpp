#include "device/FrameworkLoader.h"

#include <string>

#include "common/Log.h"
#include "trovix/platform/Frameworks.h"

namespace trovix {

namespace {

template <typename Guarded, typename Find>
auto onceResult(Guarded& guarded, Find find) {
  std::call_once(guarded.flag, [&] { guarded.result = find(); });
  return guarded.result;
}

}  // namespace

FrameworkLoader::FrameworkLoader(platform::Frameworks& frameworks) : frameworks_(frameworks) {}

bool FrameworkLoader::txsdk_load_framework_once(std::string_view name) {
  const bool opened = frameworks_.open(fmt::format("/System/Library/Frameworks/{}.framework/{}", name, name));
  if (opened) {
    TX_LOG(debug, "Dynamically loaded library: {}", name);
  } else {
    TX_LOG(debug, "Failed to load library: {}", name);
  }
  return opened;
}

bool FrameworkLoader::txsdk_handle_get_AdSupport() {
  return onceResult(adSupport_, [this] { return txsdk_load_framework_once("AdSupport"); });
}

bool FrameworkLoader::txsdk_handle_get_AppTrackingTransparency() {
  return onceResult(appTrackingTransparency_, [this] { return txsdk_load_framework_once("AppTrackingTransparency"); });
}

bool FrameworkLoader::txsdk_handle_get_iAd() {
  return onceResult(iAd_, [this] { return txsdk_load_framework_once("iAd"); });
}

bool FrameworkLoader::txsdk_handle_get_StoreKit() {
  return onceResult(storeKit_, [this] { return txsdk_load_framework_once("StoreKit"); });
}

bool FrameworkLoader::txsdk_handle_get_AdServices() {
  return onceResult(adServices_, [this] { return txsdk_load_framework_once("AdServices"); });
}

platform::ASIdentifierManager* FrameworkLoader::txsdk_ASIdentifierManagerClass() {
  return onceResult(identifierManager_,
                    [this] { return txsdk_handle_get_AdSupport() ? frameworks_.identifierManager() : nullptr; });
}

platform::ATTrackingManager* FrameworkLoader::txsdk_ATTrackingManagerClass() {
  return onceResult(trackingManager_, [this] {
    return txsdk_handle_get_AppTrackingTransparency() ? frameworks_.trackingManager() : nullptr;
  });
}

platform::ADClient* FrameworkLoader::txsdk_ADClientClass() {
  return onceResult(adClient_, [this] { return txsdk_handle_get_iAd() ? frameworks_.adClient() : nullptr; });
}

platform::SKAdNetworkClass* FrameworkLoader::txsdk_SKAdNetworkClass() {
  return onceResult(adNetwork_, [this] { return txsdk_handle_get_StoreKit() ? frameworks_.adNetwork() : nullptr; });
}

platform::AAAttribution* FrameworkLoader::txsdk_AAAttributionClass() {
  return onceResult(attribution_,
                    [this] { return txsdk_handle_get_AdServices() ? frameworks_.attribution() : nullptr; });
}

}  // namespace trovix
