#include "device/TXSDKiAdClient.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "common/CompareVersions.h"
#include "trovix/platform/Frameworks.h"

namespace trovix {

namespace {

using namespace std::chrono_literals;

constexpr auto consentPollInterval = 500ms;
/// Far beyond any wait, and far from the end of every clock.
constexpr double longestWaitSeconds = 100.0 * 365 * 24 * 3600;

constexpr std::int64_t statusOldPlatform = -1;
constexpr std::int64_t statusNoClass = -2;
constexpr std::int64_t statusNotSupported = -3;
constexpr std::int64_t statusNotDetermined = 0;
constexpr std::int64_t statusRestricted = 1;
constexpr std::int64_t statusDenied = 2;
constexpr std::int64_t statusAuthorized = 3;

constexpr const char* reasonNoClass = "No class/unknown";

std::chrono::nanoseconds waitOf(double seconds) {
  return std::chrono::nanoseconds(saturatingInteger(std::clamp(seconds, 0.0, longestWaitSeconds) * 1e9));
}

}  // namespace

TXSDKiAdClient::TXSDKiAdClient(FrameworkLoader& loader, platform::Frameworks& frameworks,
                               const platform::Device& device, const platform::Clock& clock, platform::Queues& queues,
                               Lifetime lifetime)
    : loader_(loader),
      frameworks_(frameworks),
      device_(device),
      clock_(clock),
      queues_(queues),
      lifetime_(std::move(lifetime)) {}

void TXSDKiAdClient::setQueue(std::shared_ptr<platform::SerialQueue> queue) { queue_ = std::move(queue); }

bool TXSDKiAdClient::isSystemAtLeast(std::string_view version) const {
  const auto systemVersion = device_.systemVersion();
  return systemVersion && compareVersions(*systemVersion, version) >= 0;
}

std::int64_t TXSDKiAdClient::trackingAuthorizationStatus() {
  if (!isSystemAtLeast("14")) return statusOldPlatform;
  const platform::ATTrackingManager* manager = loader_.txsdk_ATTrackingManagerClass();
  return manager ? manager->trackingAuthorizationStatus().value_or(statusNotSupported) : statusNoClass;
}

AdvertisingIdentity TXSDKiAdClient::executeIDFARequest() {
  assert(queue_->isCurrent());
  AdvertisingIdentity identity;
  identity.trackingStatus = trackingAuthorizationStatus();
  if (disableAdvertisingIdentifier_) {
    identity.reason = "IDFA disabled";
    return identity;
  }
  switch (identity.trackingStatus) {
    case statusOldPlatform:
    case statusAuthorized:
      readIdentifier(identity);
      break;
    case statusNotDetermined:
      if (didAddAdvertisingIdentifierObserver_) {
        identity.reason = "NotDetermined";
      } else {
        readIdentifier(identity);
      }
      break;
    case statusRestricted:
    case statusDenied:
      identity.reason = "Denied/Restricted";
      break;
    default:
      identity.reason = reasonNoClass;
  }
  return identity;
}

void TXSDKiAdClient::readIdentifier(AdvertisingIdentity& identity) {
  const platform::ASIdentifierManager* manager = loader_.txsdk_ASIdentifierManagerClass();
  if (!manager && loadFramework()) manager = frameworks_.identifierManager();
  if (manager) {
    identity.isTrackingEnabled = manager->isAdvertisingTrackingEnabled();
    identity.identifier = manager->advertisingIdentifier().value_or("");
  }
  if (identity.identifier.empty()) identity.reason = reasonNoClass;
}

bool TXSDKiAdClient::loadFramework() {
  if (!adSupportBundle_) {
    adSupportBundle_ = frameworks_.open("/System/Library/Frameworks/AdSupport.framework/AdSupport");
  }
  return *adSupportBundle_;
}

void TXSDKiAdClient::addAdvertisingIdentifierObserverWithTimeoutInterval(double seconds) {
  if (!isSystemAtLeast("14")) return;
  queue_->post(lifetime_.guard([this, interval = waitOf(seconds)] { startWaiting(interval); }));
}

void TXSDKiAdClient::startWaiting(std::chrono::nanoseconds interval) {
  didAddAdvertisingIdentifierObserver_ = true;
  stopWaiting();
  timer_ = queues_.makeRepeatingTimer(consentPollInterval, lifetime_.guard([this] {
    queue_->post(lifetime_.guard([this] { timeToAskAdvertisingIdentifier(); }));
  }));
  isWaitingForConsent_ = true;
  timeOut_ = queue_->makeOneShotTimer(interval, lifetime_.guard([this] {
    stopWaiting();
    timeToAskAdvertisingIdentifier();
  }));
}

void TXSDKiAdClient::stopWaiting() {
  timer_.reset();
  timeOut_.reset();
  isWaitingForConsent_ = false;
}

void TXSDKiAdClient::timeToAskAdvertisingIdentifier() {
  const AdvertisingIdentity identity = executeIDFARequest();
  if (identity.trackingStatus == statusNotDetermined && timer_) return;
  stopWaiting();
  for (const IdentityHandler& handler : std::exchange(awaitedHandlers_, {})) handler(identity);
}

void TXSDKiAdClient::requestIDWithCompletionHandler(IdentityHandler handler) {
  if (!handler) return;
  if (!queue_->isCurrent()) {
    queue_->post(lifetime_.guard(
        [this, handler = std::move(handler)]() mutable { requestIDWithCompletionHandler(std::move(handler)); }));
    return;
  }
  const AdvertisingIdentity identity = executeIDFARequest();
  if (timer_ && identity.trackingStatus == statusNotDetermined) {
    awaitedHandlers_.push_back(std::move(handler));
  } else {
    handler(identity);
  }
}

}  // namespace trovix
