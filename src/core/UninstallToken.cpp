#include "core/UninstallToken.h"

#include <chrono>

#include "common/Encoding.h"
#include "common/EventOptions.h"
#include "common/Log.h"
#include "common/Version.h"
#include "core/Installation.h"
#include "core/Settings.h"
#include "device/TXSDKiAdClient.h"
#include "device/TXSystemInfo.h"
#include "device/TrovixUtils.h"
#include "network/Endpoints.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {
namespace {

constexpr std::chrono::nanoseconds delay{3'500'000'000};

}  // namespace

void UninstallToken::registerUninstall(const Data& deviceToken) {
  if (with_.settings.isAppClip || deviceToken.empty()) return;
  Data bytes = deviceToken;
  // Falling due early means that the process ends: a token stored then would never be sent, nor tried again.
  const std::uint64_t due = with_.platform.clock.monotonicNanoseconds() + static_cast<std::uint64_t>(delay.count());
  with_.serial.postAfter(
      delay, with_.lifetime.guard([this, due, token = TrovixUtils::toHexString(bytes.data(), bytes.size())] {
        if (with_.platform.clock.monotonicNanoseconds() >= due) registerIfChanged(token);
      }));
}

void UninstallToken::registerIfChanged(const std::string& token) {
  if (with_.settings.isStopped()) {
    TX_LOG(debug, "`isStopped` enabled. Ignoring new uninstall token");
    return;
  }
  if (with_.storage.stringForKey(storageKey::deviceToken) == token) {
    TX_LOG(debug, "Uninstall token didn't change. Ignoring new token");
    return;
  }
  with_.storage.setString(token, storageKey::deviceToken);
  backgroundRegisterUninstall(token);
}

void UninstallToken::backgroundRegisterUninstall(const std::string& token) {
  with_.iAdClient.requestIDWithCompletionHandler(
      with_.lifetime.guard([this, token](const AdvertisingIdentity& identity) { send(token, identity); }));
}

void UninstallToken::send(const std::string& token, const AdvertisingIdentity& identity) {
  const std::string URL = TXSDKURLFormat(Endpoint::uninstall, {with_.settings.hostPrefix(), with_.settings.host(),
                                                               serverVersion, sdkVersion, with_.settings.appleAppID()});
  TX_LOG(debug, "Register uninstall: {} (with token: {})", URL, token);
  const std::string body = txsdk_stringify(makeBody(token, identity));
  TrovixUtils::logRequestContent(eventOption::uninstallToken, URL, body);
  with_.http.sendRequestWithConfiguration(URL, body);
}

Dictionary UninstallToken::makeBody(const std::string& token, const AdvertisingIdentity& identity) {
  const Settings& settings = with_.settings;
  const platform::Bundle& bundle = with_.platform.bundle;
  const auto info = [&bundle](const char* key) { return bundle.infoValue(key).value_or(Value("")); };

  Dictionary body{{"devkey", settings.trovixDevKey()},
                  {"uid", with_.installation.getTrovixUID()},
                  {"devicetoken", token},
                  {"launch_counter", std::to_string(with_.storage.launchCnt())}};
  body.setIfPresent("topic", bundle.identifier());
  body.set("install_date", with_.installation.getInstallDate());
  body.set("advertiserId", identity.identifier);
  body.setIfPresent("OriginalTrovixId", with_.storage.stringForKey(storageKey::originalUserId));
  body.set("reInstallCounter", with_.storage.integerForKey(storageKey::reinstallCounter));
  body.set("sdk_version", sdkVersion);
  body.set("useDevelopment", settings.useUninstallSandbox.load());
  body.set("bundleversion", info("CFBundleVersion"));
  body.set("bundlename", info("CFBundleDisplayName"));
  body.set("shortbundleversion", info("CFBundleShortVersionString"));
  body.set("wifi", with_.utils.isWifiAvailable() ? "true" : "false");
  body.set("deviceData", with_.systemInfo.getSystemInfo());
  if (settings.disableIDFVCollection) {
    body.set("idfv_optout", true);
  } else {
    body.setIfPresent("vendorId", with_.platform.device.identifierForVendor());
  }
  body.setIfPresent("appUID", settings.customerUserID());
  if (settings.anonymizeUser) body.set("deviceTrackingDisabled", "true");
  if (identity.trackingStatus != -1) body.set("att_status", identity.trackingStatus);
  return body;
}

}  // namespace trovix
