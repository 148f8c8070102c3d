#include "trovix/TrovixLib.h"

#include <fmt/core.h>

#include <mutex>
#include <utility>

#include "common/Log.h"
#include "common/Version.h"
#include "core/TrovixLibParts.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {
namespace {

/// Has the device checked when the first SDK of the process is made, before its parts are. The verdict is not kept:
/// every request that carries one asks again.
void checkIntegrityOnce(platform::Platform& platform) {
  static std::once_flag once;
  std::call_once(once, [&platform] {
    static_cast<void>(TrovixUtils(platform).isJailbrokenWithSkipAdvancedJailbreakValidation(false));
  });
}

void tellReadiness(TrovixLib::Parts& parts, std::uint64_t bit) {
  parts.serial->post(parts.lifetime.guard([&parts, bit] { parts.rules.willResolveSKRules(bit); }));
}

}  // namespace

TrovixLib& TrovixLib::shared() {
  static TrovixLib& instance = *new TrovixLib(platform::defaultPlatform());
  return instance;
}

TrovixLib::TrovixLib(platform::Platform& platform) {
  checkIntegrityOnce(platform);
  parts_ = Parts::make(platform);
}

TrovixLib::~TrovixLib() = default;

// --- Starting and logging --------------------------------------------------------------------------------------------

void TrovixLib::startWithCompletionHandler(Completion completion) {
  parts_->lifecycle.startWithCompletionHandler(std::move(completion));
}

void TrovixLib::logEventWithEventName(std::string eventName, std::optional<Dictionary> eventValues,
                                      Completion completionHandler) {
  parts_->dispatch.logEvent(std::move(eventName), std::move(eventValues), std::move(completionHandler));
}

void TrovixLib::getConversionData() { parts_->conversionData.getConversionData(); }

void TrovixLib::waitForATTUserAuthorizationWithTimeoutInterval(double timeoutInterval) {
  parts_->iAdClient.addAdvertisingIdentifierObserverWithTimeoutInterval(timeoutInterval);
}

// --- Identity --------------------------------------------------------------------------------------------------------

std::string TrovixLib::getTrovixUID() { return parts_->installation.getTrovixUID(); }

std::string TrovixLib::getOriginalTrovixId() { return parts_->installation.getOriginalTrovixId(); }

std::string TrovixLib::getSDKVersion() const { return fmt::format("version: {} (build {})", sdkVersion, sdkBuild); }

Value TrovixLib::getValueFromBundle(std::string_view key) const {
  return parts_->services.bundle.infoValue(key).value_or("");
}

// --- Configuration with rules ----------------------------------------------------------------------------------------

std::string TrovixLib::trovixDevKey() const { return parts_->settings.trovixDevKey(); }

void TrovixLib::setTrovixDevKey(const std::optional<std::string>& key) {
  if (parts_->settings.setTrovixDevKey(key)) tellReadiness(*parts_, ConversionRules::devKeyKnown);
}

std::string TrovixLib::appleAppID() const { return parts_->settings.appleAppID(); }

void TrovixLib::setAppleAppID(const std::optional<Value>& appleAppID) {
  if (parts_->settings.setAppleAppID(appleAppID)) tellReadiness(*parts_, ConversionRules::appIdKnown);
}

void TrovixLib::remoteDebuggingCallWithData(const Data& data) {
  parts_->remoteDebugUploader.remoteDebuggingCallWithData(std::string(data.begin(), data.end()));
}

void TrovixLib::setIsTrace(bool isTrace) { TXSetShowDebugLogsTrace(isTrace); }

void TrovixLib::setRequestCacheObserver(
    std::function<void(const std::string& uuid, const std::string& path)> observer) {
  TXSDKEventCache::Observer forward;
  if (observer) {
    forward = [observer = std::move(observer)](const TXSDKEvent& event) {
      observer(event.UUID(), event.filePath.value_or(""));
    };
  }
  // The serial queue is where the cache writes.
  parts_->serial->post(parts_->lifetime.guard([parts = parts_.get(), forward = std::move(forward)]() mutable {
    parts->cache.setObserver(std::move(forward));
  }));
}

// --- Plain configuration ---------------------------------------------------------------------------------------------

std::optional<std::string> TrovixLib::customerUserID() const { return parts_->settings.customerUserID(); }

void TrovixLib::setCustomerUserID(std::optional<std::string> customerUserID) {
  parts_->settings.setCustomerUserID(std::move(customerUserID));
}

std::optional<Dictionary> TrovixLib::customData() const { return parts_->settings.customData(); }

void TrovixLib::setAdditionalData(std::optional<Dictionary> customData) {
  parts_->settings.setAdditionalData(std::move(customData));
}

void TrovixLib::setUserEmails(std::optional<Array> userEmails, std::int32_t cryptType) {
  parts_->settings.setUserEmails(std::move(userEmails), cryptType);
}

std::optional<Array> TrovixLib::userEmails() const { return parts_->settings.userEmails().addresses; }

std::int32_t TrovixLib::emailCryptType() const { return parts_->settings.userEmails().cryptType; }

std::optional<std::string> TrovixLib::phoneNumber() const { return parts_->settings.phoneNumber(); }

void TrovixLib::setPhoneNumber(const std::optional<std::string>& phoneNumber) {
  parts_->settings.setPhoneNumber(phoneNumber);
}

std::optional<std::string> TrovixLib::currencyCode() const { return parts_->settings.currencyCode(); }

void TrovixLib::setCurrencyCode(std::optional<std::string> currencyCode) {
  parts_->settings.setCurrencyCode(std::move(currencyCode));
}

void TrovixLib::setHost(const std::optional<std::string>& host, const std::optional<std::string>& hostPrefix) {
  parts_->settings.setHost(host, hostPrefix);
}

std::string TrovixLib::host() const { return parts_->settings.host(); }

std::string TrovixLib::hostPrefix() const { return parts_->settings.hostPrefix(); }

std::uint64_t TrovixLib::minTimeBetweenSessions() const { return parts_->settings.minTimeBetweenSessions; }

void TrovixLib::setMinTimeBetweenSessions(std::uint64_t seconds) { parts_->settings.minTimeBetweenSessions = seconds; }

std::uint64_t TrovixLib::deepLinkTimeout() const { return parts_->settings.deepLinkTimeout; }

void TrovixLib::setDeepLinkTimeout(std::uint64_t milliseconds) { parts_->settings.deepLinkTimeout = milliseconds; }

std::optional<std::vector<std::string>> TrovixLib::sharingFilter() const { return parts_->settings.sharingFilter(); }

void TrovixLib::setSharingFilter(const std::optional<std::vector<std::string>>& sharingFilter) {
  parts_->settings.setSharingFilter(sharingFilter);
}

void TrovixLib::setSharingFilterForAllPartners() { parts_->settings.setSharingFilterForAllPartners(); }

bool TrovixLib::isStopped() const { return parts_->settings.isStopped(); }

void TrovixLib::setIsStopped(bool isStopped) { parts_->settings.setIsStopped(isStopped); }

bool TrovixLib::isDebug() const { return parts_->settings.isDebug(); }

void TrovixLib::setIsDebug(bool isDebug) { parts_->settings.setIsDebug(isDebug); }

bool TrovixLib::isProxyManagerDisabled() const { return parts_->remoteDebugging.proxyManagerDisabled(); }

void TrovixLib::setProxyManagerDisabled(bool disabled) { parts_->remoteDebugging.setProxyManagerDisabled(disabled); }

bool TrovixLib::shouldCollectDeviceName() const { return parts_->settings.shouldCollectDeviceName(); }

void TrovixLib::setShouldCollectDeviceName(bool flag) { parts_->settings.setShouldCollectDeviceName(flag); }

bool TrovixLib::disableAdvertisingIdentifier() const { return parts_->iAdClient.disableAdvertisingIdentifier(); }

void TrovixLib::setDisableAdvertisingIdentifier(bool flag) { parts_->iAdClient.setDisableAdvertisingIdentifier(flag); }

bool TrovixLib::disableAppleAdsAttribution() const { return parts_->iAdClient.disableAppleAdsAttribution(); }

void TrovixLib::setDisableAppleAdsAttribution(bool flag) { parts_->iAdClient.setDisableAppleAdsAttribution(flag); }

bool TrovixLib::disableCollectASA() const { return parts_->settings.disableCollectASA; }

void TrovixLib::setDisableCollectASA(bool flag) { parts_->settings.disableCollectASA = flag; }

bool TrovixLib::disableSKAdNetwork() const { return parts_->settings.disableSKAdNetwork; }

void TrovixLib::setDisableSKAdNetwork(bool flag) { parts_->settings.disableSKAdNetwork = flag; }

bool TrovixLib::disableIDFVCollection() const { return parts_->settings.disableIDFVCollection; }

void TrovixLib::setDisableIDFVCollection(bool flag) { parts_->settings.disableIDFVCollection = flag; }

bool TrovixLib::anonymizeUser() const { return parts_->settings.anonymizeUser; }

void TrovixLib::setAnonymizeUser(bool flag) { parts_->settings.anonymizeUser = flag; }

bool TrovixLib::useReceiptValidationSandbox() const { return parts_->settings.useReceiptValidationSandbox(); }

void TrovixLib::setUseReceiptValidationSandbox(bool flag) { parts_->settings.setUseReceiptValidationSandbox(flag); }

bool TrovixLib::useUninstallSandbox() const { return parts_->settings.useUninstallSandbox; }

void TrovixLib::setUseUninstallSandbox(bool flag) { parts_->settings.useUninstallSandbox = flag; }

bool TrovixLib::isBackgroundRequestEnabled() const { return parts_->settings.isBackgroundRequestEnabled; }

void TrovixLib::setIsBackgroundRequestEnabled(bool flag) { parts_->settings.isBackgroundRequestEnabled = flag; }

std::optional<std::string> TrovixLib::advertisingIdentifier() const { return parts_->session.advertisingIdentifier(); }

std::optional<std::string> TrovixLib::appInviteVeyraID() const { return parts_->settings.appInviteVeyraID(); }

void TrovixLib::setAppInviteVeyra(std::optional<std::string> appInviteVeyraID) {
  parts_->settings.setAppInviteVeyra(std::move(appInviteVeyraID));
}

std::optional<std::vector<std::string>> TrovixLib::resolveDeepLinkURLs() const {
  return parts_->settings.resolveDeepLinkURLs();
}

void TrovixLib::setResolveDeepLinkURLs(std::optional<std::vector<std::string>> domains) {
  parts_->settings.setResolveDeepLinkURLs(std::move(domains));
}

std::optional<std::vector<std::string>> TrovixLib::veyraCustomDomains() const {
  return parts_->settings.veyraCustomDomains();
}

void TrovixLib::setVeyraCustomDomains(std::optional<std::vector<std::string>> domains) {
  parts_->settings.setVeyraCustomDomains(std::move(domains));
}

std::optional<std::string> TrovixLib::facebookDeferredAppLink() const {
  return parts_->settings.facebookDeferredAppLink();
}

void TrovixLib::setFacebookDeferredAppLink(std::optional<std::string> link) {
  parts_->settings.setFacebookDeferredAppLink(std::move(link));
}

void TrovixLib::enableFacebookDeferredApplinksWithClass(std::optional<std::string> className) {
  parts_->settings.setFacebookClassName(std::move(className));
}

std::shared_ptr<TrovixLibDelegate> TrovixLib::delegate() const { return parts_->settings.delegate(); }

void TrovixLib::setDelegate(std::weak_ptr<TrovixLibDelegate> delegate) {
  parts_->settings.setDelegate(std::move(delegate));
}

}  // namespace trovix
