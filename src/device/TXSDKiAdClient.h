#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Lifetime.h"
#include "device/FrameworkLoader.h"
#include "trovix/Error.h"
#include "trovix/Value.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/Queues.h"

namespace trovix {

/// What is known of the advertising identifier.
struct AdvertisingIdentity {
  bool isTrackingEnabled = false;
  std::string identifier;             // empty when it was not read
  std::optional<std::string> reason;  // why it was not read
  std::int64_t trackingStatus = -1;   // -1 platform before 14, -2 no consent class, -3 query not supported
};

/// Advertising identifier, tracking consent and search-ads attribution. Any thread, but where the serial queue is
/// named.
class TXSDKiAdClient {
 public:
  using IdentityHandler = std::function<void(const AdvertisingIdentity&)>;
  using DetailsHandler = std::function<void(const Dictionary&)>;

  /// Everything that waits is dropped once the owner behind `lifetime` is gone; handlers are then not called.
  TXSDKiAdClient(FrameworkLoader& loader, platform::Frameworks& frameworks, const platform::Device& device,
                 const platform::Clock& clock, platform::Queues& queues, Lifetime lifetime);

  /// The SDK's serial queue; set once, before anything else is called.
  void setQueue(std::shared_ptr<platform::SerialQueue> queue);

  [[nodiscard]] bool disableAdvertisingIdentifier() const noexcept { return disableAdvertisingIdentifier_; }
  void setDisableAdvertisingIdentifier(bool flag) noexcept { disableAdvertisingIdentifier_ = flag; }
  [[nodiscard]] bool disableAppleAdsAttribution() const noexcept { return disableAppleAdsAttribution_; }
  void setDisableAppleAdsAttribution(bool flag) noexcept { disableAppleAdsAttribution_ = flag; }

  /// Holds identity answers back until the user has answered the consent prompt, or the seconds have passed; less than
  /// none and what is no number count as none. A later call starts the wait anew. Nothing happens before version 14.
  void addAdvertisingIdentifierObserverWithTimeoutInterval(double seconds);
  /// Whether identity answers are being held back.
  [[nodiscard]] bool didRegisterForATTUserAuthorization() const noexcept { return isWaitingForConsent_; }
  /// Calls the handler once, on the serial queue: when the consent answer is in, else before this returns if the caller
  /// runs there.
  void requestIDWithCompletionHandler(IdentityHandler handler);
  /// The identity as it stands, without waiting. Serial queue.
  [[nodiscard]] AdvertisingIdentity executeIDFARequest();
  /// The legacy search-ads details, or {"error": name}, after up to four attempts. Called back on the global queue.
  void requestAttributionDetails(DetailsHandler completion);
  /// {"token"} or {"error"}, the platform's own errors with "error_reason". May block on the platform.
  [[nodiscard]] Dictionary appleAdsAttributionToken();
  [[nodiscard]] std::int64_t trackingAuthorizationStatus();

 private:
  struct AttemptSequence {
    int attemptsLeft = 0;
    std::optional<std::int64_t> lastCode;
    DetailsHandler completion;
  };

  // Serial queue.
  void startWaiting(std::chrono::nanoseconds interval);
  void stopWaiting();
  void timeToAskAdvertisingIdentifier();
  void readIdentifier(AdvertisingIdentity& identity);
  bool loadFramework();

  // Global queue.
  void continueAttempts(AttemptSequence sequence);
  void attempt(AttemptSequence sequence);
  void handleDetails(AttemptSequence sequence, const Result<Dictionary>& details);

  [[nodiscard]] bool isSystemAtLeast(std::string_view version) const;

  FrameworkLoader& loader_;
  platform::Frameworks& frameworks_;
  const platform::Device& device_;
  const platform::Clock& clock_;
  platform::Queues& queues_;
  const Lifetime lifetime_;
  std::shared_ptr<platform::SerialQueue> queue_;
  std::atomic<bool> disableAdvertisingIdentifier_{false};
  std::atomic<bool> disableAppleAdsAttribution_{false};
  std::atomic<bool> isWaitingForConsent_{false};  // written on the serial queue, with the timer

  // Serial queue only.
  bool didAddAdvertisingIdentifierObserver_ = false;
  std::optional<bool> adSupportBundle_;  // whether the framework opened; missing until it is tried
  // Both missing while nobody waits for the consent answer.
  std::unique_ptr<platform::Timer> timer_;
  std::unique_ptr<platform::Timer> timeOut_;
  std::vector<IdentityHandler> awaitedHandlers_;
};

}  // namespace trovix
