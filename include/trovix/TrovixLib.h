#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/TrovixLibDelegate.h"
#include "trovix/Value.h"
#include "trovix/platform/Platform.h"

namespace trovix {

/// The tracking SDK. Configure it, then `start` it. Every operation may be called from any thread and returns without
/// waiting for disk or network, except where it says so. No operation throws, and no callback may; bad configuration is
/// logged and ignored, or accepted with a warning.
class TROVIX_API TrovixLib {
 public:
  /// Data and error of a finished request: data is {"statusCode": number}. Runs on the SDK's serial queue or on the
  /// HTTP client's.
  using Completion = std::function<void(const std::optional<Dictionary>& data, const std::optional<Error>& error)>;

  /// The validated purchase. Main queue.
  using PurchaseSuccess = std::function<void(const Dictionary& response)>;
  /// Why a purchase was not validated, and the server's answer when there was one. Main queue.
  using PurchaseFailure = std::function<void(const std::optional<Error>& error, const std::optional<Value>& response)>;

  /// Would be given what the host restores for a user activity; the SDK restores nothing.
  using RestorationHandler = std::function<void(const Array& restored)>;

  /// The process's SDK over the process's default platform, made on first use and never destroyed.
  [[nodiscard]] static TrovixLib& shared();

  /// An SDK of its own over a platform that outlives it. Hosts use `shared()`; this is for tests and tools.
  explicit TrovixLib(platform::Platform& platform);
  /// Waits for nothing: closures on their way find the SDK gone.
  ~TrovixLib();
  TrovixLib(const TrovixLib&) = delete;
  TrovixLib& operator=(const TrovixLib&) = delete;

  // --- Starting and logging -----------------------------------------------------------------------------------------

  /// Reports a launch, or skips it when the last one is at most `minTimeBetweenSessions` ago.
  void start() { startWithCompletionHandler({}); }
  /// The completion hears of the launch request, or at once of error 10 when the launch is skipped.
  void startWithCompletionHandler(Completion completion);
  /// Logs an in-app event 0.4 seconds from now.
  void logEvent(std::string name, std::optional<Dictionary> values = std::nullopt) {
    logEventWithEventName(std::move(name), std::move(values), {});
  }
  void logEventWithEventName(std::string eventName, std::optional<Dictionary> eventValues,
                             Completion completionHandler);
  /// Fetches the install's conversion data, or serves what is kept; the delegate hears of it. Looks at what is kept on
  /// the caller's thread, which may write to disk.
  void getConversionData();
  /// Holds requests back until the user has answered the consent prompt, or for that many seconds.
  void waitForATTUserAuthorizationWithTimeoutInterval(double timeoutInterval);

  // --- Identity -----------------------------------------------------------------------------------------------------

  /// This installation's identifier. Computed once; the first call may write to disk.
  [[nodiscard]] std::string getTrovixUID();
  /// The identifier that survives reinstalls. Computed once; the first call may write to disk.
  [[nodiscard]] std::string getOriginalTrovixId();
  /// "version: 6.2.2 (build 64)".
  [[nodiscard]] std::string getSDKVersion() const;
  /// The main bundle's info-dictionary value, or "".
  [[nodiscard]] Value getValueFromBundle(std::string_view key) const;

  // --- Configuration ------------------------------------------------------------------------------------------------

  /// The developer key; "" until it is set. A key shorter than 11 characters is accepted with a warning.
  [[nodiscard]] std::string trovixDevKey() const;
  void setTrovixDevKey(const std::optional<std::string>& key);
  /// The App Store identifier, without its "id".
  [[nodiscard]] std::string appleAppID() const;
  void setAppleAppID(const std::optional<Value>& appleAppID);
  /// The host's own identifier of this user, which launches, events and invitations carry.
  [[nodiscard]] std::optional<std::string> customerUserID() const;
  void setCustomerUserID(std::optional<std::string> customerUserID);
  /// Further data of the host's, which launches and events carry.
  [[nodiscard]] std::optional<Dictionary> customData() const;
  /// A missing dictionary is ignored: the old data stays.
  void setAdditionalData(std::optional<Dictionary> customData);
  /// Entries that are not text are skipped with a warning when a payload is built. Types: 0 plain, 1 SHA-1, 2 MD5, 3
  /// SHA-256.
  void setUserEmails(std::optional<Array> userEmails, std::int32_t cryptType);
  [[nodiscard]] std::optional<Array> userEmails() const;
  [[nodiscard]] std::int32_t emailCryptType() const;
  /// Kept as its SHA-256 digest, which is what the getter answers.
  void setPhoneNumber(const std::optional<std::string>& phoneNumber);
  [[nodiscard]] std::optional<std::string> phoneNumber() const;
  /// Three letters; another length is sent with a warning.
  [[nodiscard]] std::optional<std::string> currencyCode() const;
  void setCurrencyCode(std::optional<std::string> currencyCode);
  /// The server domain and what goes before every subdomain. An empty domain is refused, the prefix is taken all the
  /// same.
  void setHost(const std::optional<std::string>& host, const std::optional<std::string>& hostPrefix);
  [[nodiscard]] std::string host() const;
  [[nodiscard]] std::string hostPrefix() const;
  /// Seconds; launches closer together than this are skipped. Default 5.
  [[nodiscard]] std::uint64_t minTimeBetweenSessions() const;
  void setMinTimeBetweenSessions(std::uint64_t seconds);
  /// Milliseconds that a deferred deep link may take. Default 60000.
  [[nodiscard]] std::uint64_t deepLinkTimeout() const;
  void setDeepLinkTimeout(std::uint64_t milliseconds);
  /// Partners that must not get this user's data. Entries must match [A-Za-z0-9_]{1,45}; others are dropped.
  [[nodiscard]] std::optional<std::vector<std::string>> sharingFilter() const;
  void setSharingFilter(const std::optional<std::vector<std::string>>& sharingFilter);
  /// No partner gets it; a later filter cannot narrow this.
  void setSharingFilterForAllPartners();
  /// While stopped no launch, event, purchase, push token, impression or closing report is taken on, and neither
  /// conversion data nor remote debugging is asked for. Ad revenue, conversion rules and links are not affected.
  /// Setting it writes to storage that it was used.
  [[nodiscard]] bool isStopped() const;
  void setIsStopped(bool isStopped);

  /// Whether log lines go to the system's log. Setting it turns one switch of the process. Default false.
  [[nodiscard]] bool isDebug() const;
  void setIsDebug(bool isDebug);
  /// Adds trace lines and time stamps to what `isDebug` lets through: one switch for the process. Default false.
  void setIsTrace(bool isTrace);
  /// True forbids remote debugging: log lines are neither collected for the server nor sent. Default false.
  [[nodiscard]] bool isProxyManagerDisabled() const;
  void setProxyManagerDisabled(bool disabled);
  /// Whether launches and events carry the device's name. Default false.
  [[nodiscard]] bool shouldCollectDeviceName() const;
  void setShouldCollectDeviceName(bool flag);
  /// True leaves the advertising identifier unread. One that was read before may still go out until the next launch or
  /// event. Default false.
  [[nodiscard]] bool disableAdvertisingIdentifier() const;
  void setDisableAdvertisingIdentifier(bool flag);
  /// True leaves the search-ads attribution token unread. Default false.
  [[nodiscard]] bool disableAppleAdsAttribution() const;
  void setDisableAppleAdsAttribution(bool flag);
  /// True leaves the search-ads details unfetched. Looked at once, by the first launch of the process. Default false.
  [[nodiscard]] bool disableCollectASA() const;
  void setDisableCollectASA(bool flag);
  /// True leaves the ad network alone: no registration and no conversion values. Default false.
  [[nodiscard]] bool disableSKAdNetwork() const;
  void setDisableSKAdNetwork(bool flag);
  /// True leaves the vendor identifier out of launches, events, push tokens and deferred deep links; cross-promotion
  /// carries it all the same. Default false.
  [[nodiscard]] bool disableIDFVCollection() const;
  void setDisableIDFVCollection(bool flag);
  /// True marks requests with "deviceTrackingDisabled". Default false.
  [[nodiscard]] bool anonymizeUser() const;
  void setAnonymizeUser(bool flag);
  /// True has purchases validated against the store's sandbox. Default false.
  [[nodiscard]] bool useReceiptValidationSandbox() const;
  void setUseReceiptValidationSandbox(bool flag);
  /// True registers push tokens as those of a development build. Default false.
  [[nodiscard]] bool useUninstallSandbox() const;
  void setUseUninstallSandbox(bool flag);
  /// Whether a closing report is sent when the application goes to the background. Default false; the server's answers
  /// set it too.
  [[nodiscard]] bool isBackgroundRequestEnabled() const;
  void setIsBackgroundRequestEnabled(bool flag);
  /// The last advertising identifier that a request carried.
  [[nodiscard]] std::optional<std::string> advertisingIdentifier() const;
  /// The link template of invitations.
  [[nodiscard]] std::optional<std::string> appInviteVeyraID() const;
  void setAppInviteVeyra(std::optional<std::string> appInviteVeyraID);
  /// Click domains whose redirects are followed to the real link.
  [[nodiscard]] std::optional<std::vector<std::string>> resolveDeepLinkURLs() const;
  void setResolveDeepLinkURLs(std::optional<std::vector<std::string>> domains);
  /// The application's own branded link domains.
  [[nodiscard]] std::optional<std::vector<std::string>> veyraCustomDomains() const;
  void setVeyraCustomDomains(std::optional<std::vector<std::string>> domains);
  /// The deferred app link: what the host fetched itself, or what the companion SDK answered. While there is one that
  /// SDK is not asked.
  [[nodiscard]] std::optional<std::string> facebookDeferredAppLink() const;
  void setFacebookDeferredAppLink(std::optional<std::string> link);
  /// A name that is not empty has cold starts, first launches and search-ads launches ask the companion SDK's class
  /// "FBSDKAppLinkUtility" for a deferred app link, until there is one.
  void enableFacebookDeferredApplinksWithClass(std::optional<std::string> className);

  /// Who hears of conversion data and attributed links. Held weakly.
  [[nodiscard]] std::shared_ptr<TrovixLibDelegate> delegate() const;
  void setDelegate(std::weak_ptr<TrovixLibDelegate> delegate);

  /// Sends the bytes to the remote-debugging endpoint, unless the SDK is stopped. No result is reported. Any thread.
  void remoteDebuggingCallWithData(const Data& data);

  // --- Links ---------------------------------------------------------------------------------------------------------

  /// A link opened the application. Its attribution goes to the deep link delegate, or to the delegate.
  void handleOpenURL(const std::optional<std::string>& URL, const std::optional<std::string>& sourceApplication,
                     const std::optional<Value>& annotation = std::nullopt);
  /// The same; the options name the source application under "UIApplicationOpenURLOptionsSourceApplicationKey".
  void handleOpenUrl(const std::optional<std::string>& URL, const Dictionary& options);
  /// A universal link: {"activityType", "webpageURL"}. Always true.
  bool continueUserActivity(const Dictionary& userActivity, const RestorationHandler& restorationHandler);
  /// Attributes a link that did not open the application. A missing link is reported as a failure.
  void performOnAppAttributionWithURL(const std::optional<std::string>& URL);
  /// Links that contain the text get the parameters added to their query.
  void appendParametersToDeepLinkingURLWithString(std::string containsString, Dictionary parameters);
  /// Held weakly. The first delegate of the process also gets the deferred deep link, if it is set before the first
  /// launch was built: set it before `start`.
  [[nodiscard]] std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate() const;
  void setDeepLinkDelegate(std::weak_ptr<TrovixDeepLinkDelegate> delegate);

  // --- Push notifications --------------------------------------------------------------------------------------------

  /// Searches a push payload for a link, which is resolved; other information goes with the next launch.
  void handlePushNotification(const Dictionary& payload);
  /// Where a link may be in a push payload: the dictionary keys that lead to it.
  void addPushNotificationDeepLinkPath(const std::optional<std::vector<std::string>>& path);
  /// Registers the push token 3.5 seconds from now, unless it is the last one.
  void registerUninstall(const Data& deviceToken);

  // --- Revenue -------------------------------------------------------------------------------------------------------

  /// Reports a completed store purchase and has its receipt validated. One of the callbacks, if it is given, hears of
  /// it on the main queue.
  void validateAndLogInAppPurchase(std::optional<std::string> productIdentifier, std::optional<std::string> price,
                                   std::optional<std::string> currency, std::optional<std::string> transactionId,
                                   std::optional<Dictionary> additionalParameters, PurchaseSuccess success,
                                   PurchaseFailure failure);
  /// Reports impression revenue.
  void sendAdRevenueWithParameters(Dictionary parameters);
  /// Replaces what goes to that partner with launches; at most 1,000 characters of JSON. A missing or empty dictionary
  /// removes that partner's data, and one that is too long puts an error in its place.
  void setPartnerDataWithPartnerId(const std::optional<std::string>& partnerId,
                                   const std::optional<Dictionary>& partnerInfo);
  /// Logs a location event.
  void logLocation(double longitude, double latitude);

  /// Told of every request whose cache file is on disk: its UUID and its path. For tools; before `start`.
  void setRequestCacheObserver(std::function<void(const std::string& uuid, const std::string& path)> observer);

  /// The composition behind the facade; for the library's own companions and tests.
  struct Parts;
  [[nodiscard]] Parts& parts() noexcept { return *parts_; }

 private:
  std::shared_ptr<Parts> parts_;
};

}  // namespace trovix
