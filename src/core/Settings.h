#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "trovix/TrovixLibDelegate.h"
#include "trovix/Value.h"

namespace trovix {

class TXSDKStorageProtocol;

/// What the host configured, validated. Values are read at the moment each request is built. Any thread.
class Settings {
 public:
  explicit Settings(TXSDKStorageProtocol& storage);

  /// Whether the key was accepted; a refused one leaves the old.
  bool setTrovixDevKey(const std::optional<std::string>& key);
  bool setAppleAppID(const std::optional<Value>& appleAppID);
  void setHost(const std::optional<std::string>& host, const std::optional<std::string>& hostPrefix);
  void setAdditionalData(std::optional<Dictionary> customData);
  void setCustomerUserID(std::optional<std::string> customerUserID);
  void setUserEmails(std::optional<Array> userEmails, std::int32_t cryptType);
  void setPhoneNumber(const std::optional<std::string>& phoneNumber);
  void setSharingFilter(const std::optional<std::vector<std::string>>& sharingFilter);
  void setSharingFilterForAllPartners();
  void setIsStopped(bool isStopped);
  void setIsDebug(bool isDebug);
  void setShouldCollectDeviceName(bool flag);
  void setUseReceiptValidationSandbox(bool flag);
  void setCurrencyCode(std::optional<std::string> currencyCode);
  void setAppInviteVeyra(std::optional<std::string> appInviteVeyraID);
  void setResolveDeepLinkURLs(std::optional<std::vector<std::string>> domains);
  void setVeyraCustomDomains(std::optional<std::vector<std::string>> domains);
  void setFacebookDeferredAppLink(std::optional<std::string> link);
  void setFacebookClassName(std::optional<std::string> className);
  void setDelegate(std::weak_ptr<TrovixLibDelegate> delegate);

  [[nodiscard]] std::string trovixDevKey() const {
    const platform::MutexLock lock(mutex_);
    return trovixDevKey_;
  }
  [[nodiscard]] std::string appleAppID() const {
    const platform::MutexLock lock(mutex_);
    return appleAppID_;
  }
  [[nodiscard]] std::string host() const {
    const platform::MutexLock lock(mutex_);
    return host_;
  }
  [[nodiscard]] std::string hostPrefix() const {
    const platform::MutexLock lock(mutex_);
    return hostPrefix_;
  }
  [[nodiscard]] std::optional<std::string> customerUserID() const {
    const platform::MutexLock lock(mutex_);
    return customerUserID_;
  }
  [[nodiscard]] std::optional<Dictionary> customData() const {
    const platform::MutexLock lock(mutex_);
    return customData_;
  }
  struct UserEmails {
    std::optional<Array> addresses;
    std::int32_t cryptType = 0;
  };
  /// The pair, read together.
  [[nodiscard]] UserEmails userEmails() const {
    const platform::MutexLock lock(mutex_);
    return userEmails_;
  }
  [[nodiscard]] std::optional<std::string> phoneNumber() const {
    const platform::MutexLock lock(mutex_);
    return phoneNumber_;
  }
  [[nodiscard]] std::optional<std::vector<std::string>> sharingFilter() const {
    const platform::MutexLock lock(mutex_);
    return sharingFilter_;
  }
  [[nodiscard]] std::optional<std::string> currencyCode() const {
    const platform::MutexLock lock(mutex_);
    return currencyCode_;
  }
  [[nodiscard]] std::optional<std::string> appInviteVeyraID() const {
    const platform::MutexLock lock(mutex_);
    return appInviteVeyraID_;
  }
  [[nodiscard]] std::optional<std::vector<std::string>> resolveDeepLinkURLs() const {
    const platform::MutexLock lock(mutex_);
    return resolveDeepLinkURLs_;
  }
  [[nodiscard]] std::optional<std::vector<std::string>> veyraCustomDomains() const {
    const platform::MutexLock lock(mutex_);
    return veyraCustomDomains_;
  }
  [[nodiscard]] std::optional<std::string> facebookDeferredAppLink() const {
    const platform::MutexLock lock(mutex_);
    return facebookDeferredAppLink_;
  }
  [[nodiscard]] std::optional<std::string> facebookClassName() const {
    const platform::MutexLock lock(mutex_);
    return facebookClassName_;
  }
  [[nodiscard]] std::shared_ptr<TrovixLibDelegate> delegate() const {
    const platform::MutexLock lock(mutex_);
    return delegate_.lock();
  }
  [[nodiscard]] bool isStopped() const noexcept { return isStopped_; }
  [[nodiscard]] bool isDebug() const noexcept { return isDebug_; }
  [[nodiscard]] bool shouldCollectDeviceName() const noexcept { return shouldCollectDeviceName_; }
  [[nodiscard]] bool useReceiptValidationSandbox() const noexcept { return useReceiptValidationSandbox_; }

  // Plain switches and numbers without side effects.
  std::atomic<bool> anonymizeUser{false};
  std::atomic<bool> disableCollectASA{false};
  std::atomic<bool> disableSKAdNetwork{false};
  std::atomic<bool> disableIDFVCollection{false};
  std::atomic<bool> useUninstallSandbox{false};
  std::atomic<bool> skipAdvancedJailbreakValidation{false};
  std::atomic<bool> isBackgroundRequestEnabled{false};
  std::atomic<std::uint64_t> minTimeBetweenSessions{5};
  std::atomic<std::uint64_t> deepLinkTimeout{60000};
  // From the application's info dictionary; written before anybody else sees them.
  bool VPNCollectionEnabled = true;
  bool isAppClip = false;

 private:
  TXSDKStorageProtocol& storage_;
  std::atomic<bool> isStopped_{false};
  std::atomic<bool> isDebug_{false};
  std::atomic<bool> shouldCollectDeviceName_{false};
  std::atomic<bool> useReceiptValidationSandbox_{false};

  mutable platform::Mutex mutex_;
  std::string trovixDevKey_ TX_GUARDED_BY(mutex_);
  std::string appleAppID_ TX_GUARDED_BY(mutex_);
  std::string host_ TX_GUARDED_BY(mutex_);
  std::string hostPrefix_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> customerUserID_ TX_GUARDED_BY(mutex_);
  std::optional<Dictionary> customData_ TX_GUARDED_BY(mutex_);
  UserEmails userEmails_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> phoneNumber_ TX_GUARDED_BY(mutex_);
  std::optional<std::vector<std::string>> sharingFilter_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> currencyCode_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> appInviteVeyraID_ TX_GUARDED_BY(mutex_);
  std::optional<std::vector<std::string>> resolveDeepLinkURLs_ TX_GUARDED_BY(mutex_);
  std::optional<std::vector<std::string>> veyraCustomDomains_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> facebookDeferredAppLink_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> facebookClassName_ TX_GUARDED_BY(mutex_);
  std::weak_ptr<TrovixLibDelegate> delegate_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
