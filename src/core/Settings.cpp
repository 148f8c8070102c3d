#include "core/Settings.h"

#include <algorithm>
#include <utility>

#include "common/Log.h"
#include "common/Version.h"
#include "device/TrovixUtils.h"
#include "platform/Regex.h"
#include "platform/Text.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"

namespace trovix {
namespace {

constexpr std::size_t usualDevKeyLength = 11;
constexpr const char* allPartners = "all";

bool isDecimal(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

const platform::Regex& partnerPattern() {
  static const platform::Regex& pattern = *new platform::Regex("^[\\d\\w_]{1,45}$");
  return pattern;
}

}  // namespace

Settings::Settings(TXSDKStorageProtocol& storage) : storage_(storage), host_(defaultHost) {}

bool Settings::setTrovixDevKey(const std::optional<std::string>& key) {
  if (!txsdk_exists(key)) {
    TX_LOG(debug, "Trovix SDK developer key not valid to serve");
    return false;
  }
  if (platform::utf16Length(*key) < usualDevKeyLength) TX_LOG(debug, "Trovix SDK developer key wrong length");
  const platform::MutexLock lock(mutex_);
  trovixDevKey_ = *key;
  return true;
}

bool Settings::setAppleAppID(const std::optional<Value>& appleAppID) {
  const std::string* given = appleAppID ? appleAppID->string() : nullptr;
  if (given == nullptr || given->empty()) {
    TX_LOG(debug, "`Apple ID` is missing. SDK will work not properly");
    return false;
  }
  std::string stripped = *given;
  if (stripped.starts_with("id")) {
    TX_LOG(debug, "`Apple ID` has been modified by removing `id` at prefix");
    stripped.erase(0, 2);
  }
  // The identifier as it was given is judged, so that a prefix earns both lines.
  if (!isDecimal(*given)) {
    TX_LOG(debug, "`Apple ID` should has decimal character set. SDK will work not properly");
  }
  const platform::MutexLock lock(mutex_);
  appleAppID_ = std::move(stripped);
  return true;
}

void Settings::setHost(const std::optional<std::string>& host, const std::optional<std::string>& hostPrefix) {
  if (!txsdk_exists(host)) TX_LOG(warning, "`host` cannot be `nil` or `empty`");
  const platform::MutexLock lock(mutex_);
  if (txsdk_exists(host)) host_ = *host;
  hostPrefix_ = hostPrefix.value_or("");
}

void Settings::setAdditionalData(std::optional<Dictionary> customData) {
  if (!customData) return;
  TX_LOG(debug, "setCustomData = {}", *customData);
  const platform::MutexLock lock(mutex_);
  customData_ = std::move(customData);
}

void Settings::setCustomerUserID(std::optional<std::string> customerUserID) {
  TX_LOG(debug, "SetCustomerId = {}", description(customerUserID));
  const platform::MutexLock lock(mutex_);
  customerUserID_ = std::move(customerUserID);
}

void Settings::setUserEmails(std::optional<Array> userEmails, std::int32_t cryptType) {
  const platform::MutexLock lock(mutex_);
  userEmails_ = {.addresses = std::move(userEmails), .cryptType = cryptType};
}

void Settings::setPhoneNumber(const std::optional<std::string>& phoneNumber) {
  std::optional<std::string> digest;
  if (phoneNumber) digest = TrovixUtils::sha256(*phoneNumber);
  if (digest && digest->empty()) digest.reset();
  const platform::MutexLock lock(mutex_);
  phoneNumber_ = std::move(digest);
}

void Settings::setSharingFilter(const std::optional<std::vector<std::string>>& sharingFilter) {
  std::vector<std::string> accepted;
  if (sharingFilter) {
    std::copy_if(sharingFilter->begin(), sharingFilter->end(), std::back_inserter(accepted),
                 [](const std::string& partner) { return partnerPattern().matches(partner); });
  }
  const platform::MutexLock lock(mutex_);
  if (sharingFilter_ && sharingFilter_->size() == 1 && sharingFilter_->front() == allPartners) return;
  if (accepted.empty()) {
    sharingFilter_.reset();
  } else {
    sharingFilter_ = std::move(accepted);
  }
}

void Settings::setSharingFilterForAllPartners() {
  const platform::MutexLock lock(mutex_);
  sharingFilter_ = {allPartners};
}

void Settings::setIsStopped(bool isStopped) {
  isStopped_ = isStopped;
  storage_.setBool(true, storageKey::stopTrackingUsed);
}

void Settings::setIsDebug(bool isDebug) {
  isDebug_ = isDebug;
  TXSetShowDebugLogs(isDebug);
  if (isDebug) {
    TX_LOG(debug, "* Trovix is set to debug mode. This should only be used in development environment! *");
  }
}

void Settings::setShouldCollectDeviceName(bool flag) {
  TX_LOG(debug, "setShouldCollectDeviceName is called with flag: {}", flag ? "YES" : "NO");
  shouldCollectDeviceName_ = flag;
}

void Settings::setUseReceiptValidationSandbox(bool flag) {
  useReceiptValidationSandbox_ = flag;
  TX_LOG(debug,
         "* * * Trovix is set to verify in app purchases on Apple sandbox. This should only be used in development "
         "enviornment!!!! * * *");
}

void Settings::setCurrencyCode(std::optional<std::string> currencyCode) {
  const platform::MutexLock lock(mutex_);
  currencyCode_ = std::move(currencyCode);
}

void Settings::setAppInviteVeyra(std::optional<std::string> appInviteVeyraID) {
  const platform::MutexLock lock(mutex_);
  appInviteVeyraID_ = std::move(appInviteVeyraID);
}

void Settings::setResolveDeepLinkURLs(std::optional<std::vector<std::string>> domains) {
  const platform::MutexLock lock(mutex_);
  resolveDeepLinkURLs_ = std::move(domains);
}

void Settings::setVeyraCustomDomains(std::optional<std::vector<std::string>> domains) {
  const platform::MutexLock lock(mutex_);
  veyraCustomDomains_ = std::move(domains);
}

void Settings::setFacebookDeferredAppLink(std::optional<std::string> link) {
  const platform::MutexLock lock(mutex_);
  facebookDeferredAppLink_ = std::move(link);
}

void Settings::setFacebookClassName(std::optional<std::string> className) {
  const platform::MutexLock lock(mutex_);
  facebookClassName_ = std::move(className);
}

void Settings::setDelegate(std::weak_ptr<TrovixLibDelegate> delegate) {
  const platform::MutexLock lock(mutex_);
  delegate_ = std::move(delegate);
}

}  // namespace trovix
