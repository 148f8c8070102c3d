#include "core/LaunchLifecycle.h"

#include <fmt/core.h>

#include <cassert>
#include <cmath>
#include <utility>

#include "common/Encoding.h"
#include "common/EventOptions.h"
#include "common/Log.h"
#include "common/TXSDKError.h"
#include "core/ConversionRules.h"
#include "core/DeepLinks.h"
#include "core/EventDispatch.h"
#include "core/Installation.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "device/TXSDKiAdClient.h"
#include "device/TrovixUtils.h"
#include "network/Endpoints.h"
#include "network/TXSDKPerformance.h"
#include "network/TrovixProxyManager.h"
#include "platform/Json.h"
#include "platform/Url.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {

using namespace eventOption;  // NOLINT(google-build-using-namespace): the names of the bits say enough

namespace {

constexpr const char* launchEventName = "Launched";
constexpr const char* appClipEventName = "tx_app_clip_to_full_app";
constexpr std::int64_t launchSkipped = 10;

const Dictionary* asUserActivity(const Value& value) {
  const Dictionary* activity = value.dictionary();
  return activity != nullptr && activity->string("activityType") != nullptr ? activity : nullptr;
}

}  // namespace

void LaunchLifecycle::startWithCompletionHandler(TrovixLib::Completion completion) {
  warnOfUnservedMainQueue();
  with_.serial.post(with_.lifetime.guard([this, completion = std::move(completion)]() mutable {
    // The report reads and writes the storage, so it is not the caller's; the lines of this start come after it.
    if (with_.remoteDebugging.proxyEnabledFromServer()) sendRemoteDebuggingData();
    with_.utils.txsdk_print_dependencies();
    launch(std::move(completion));
  }));
}

void LaunchLifecycle::warnOfUnservedMainQueue() {
  if (with_.platform.queues.isMainQueueServed() || didWarnOfMainQueue_.exchange(true)) return;
  TXSystemLog(
      "Trovix WARNING: nobody serves the main queue, so no request is sent and no callback arrives until somebody "
      "does! Run the platform's main loop, hand in an executor, or ask for a thread of the library's own.");
}

void LaunchLifecycle::sendRemoteDebuggingData() {
  const platform::Device& device = with_.platform.device;
  with_.remoteDebugging.sendRemoteDebuggingDataWithModel(device.model().value_or(""),
                                                         device.systemVersion().value_or(""));
}

void LaunchLifecycle::launch(TrovixLib::Completion completion) {
  assert(with_.serial.isCurrent());
  TX_LOG(debug, "Start");
  const std::optional<std::string> timestamp = with_.storage.stringForKey(storageKey::installTimestamp);
  const bool isFirstLaunch = !timestamp;
  TX_LOG(debug, "isFirstLaunch: {}, timestamp: {}", isFirstLaunch ? "Yes" : "No", description(timestamp));
  if (isFirstLaunch) {
    with_.performance.stop(TXSDKPerformance::TXSDKFromInitToStart);
    with_.performance.start(TXSDKPerformance::TXSDKFromStartToNetwork);
  }
  if (const auto lastLaunchTime = with_.session.lastLaunchTime()) {
    relaunch(*lastLaunchTime, isFirstLaunch, std::move(completion));
  } else {
    TX_LOG(debug, "First `start` since application termintaion/installation");
    const std::uint64_t options = TXEventOptionColdStart | TXEventOptionLaunch;
    with_.dispatch.callServerWithEventName(launchEventName, std::nullopt,
                                           isFirstLaunch ? options | TXEventOptionFirstLaunch : options,
                                           std::move(completion));
  }
  checkSearchAdsOnce();
  handOverFromAppClip();
}

void LaunchLifecycle::relaunch(double lastLaunchTime, bool isFirstLaunch, TrovixLib::Completion completion) {
  const double passed = with_.platform.clock.now() - lastLaunchTime;
  TX_LOG(debug, "Time from last launch(session) {:f}", passed);
  if (passed > static_cast<double>(with_.settings.minTimeBetweenSessions)) {
    TX_LOG(debug, "`start` since background transition");
    with_.dispatch.callServerWithEventName(
        launchEventName, std::nullopt,
        isFirstLaunch ? TXEventOptionLaunch | TXEventOptionFirstLaunch : TXEventOptionLaunch, std::move(completion));
    return;
  }
  TX_LOG(debug, "Skip launch");
  if (!completion) return;
  completion(std::nullopt,
             TXSDKError::errorWithDomain(TXSDKEventErrorDomain, launchSkipped, {},
                                         "Event timeout. Check `minTimeBetweenSessions` param", std::nullopt));
}

void LaunchLifecycle::checkSearchAdsOnce() {
  if (std::exchange(didCheckSearchAds_, true)) return;
  const bool isCached = with_.storage.dictionaryForKey(storageKey::searchAdsAttribution).has_value();
  const bool isDisabled = with_.settings.disableCollectASA;
  if (logging::isWanted(LogLevel::trace)) {
    const std::string line = fmt::format("[iAD]: Cached `Apple Search Ads`: {}, ASA disable: {}",
                                         isCached ? "Yes" : "No", isDisabled ? 1 : 0);
    TX_LOG(trace, "{}", line);
    logging::mirrorOnly(LogLevel::debug, __PRETTY_FUNCTION__, line);
  }
  if (isCached || isDisabled) return;
  with_.iAdClient.requestAttributionDetails(with_.lifetime.guard([this](const Dictionary& attribution) {
    with_.serial.post(with_.lifetime.guard([this, attribution] { didReceiveSearchAds(attribution); }));
  }));
}

void LaunchLifecycle::didReceiveSearchAds(const Dictionary& attribution) {
  // What no request can carry would be asked for, and reported by one more launch, at every start.
  if (!platform::isValidJsonObject(attribution, platform::maximumJsonDepth - 1)) return;
  with_.storage.setDictionary(attribution, storageKey::searchAdsAttribution);
  with_.storage.save();
  TX_LOG(debug, "[iAD]: Will send to attr: {}\nApple Search Ads: {}", 1, attribution);
  with_.dispatch.callServerWithEventName(launchEventName, std::nullopt, TXEventOptionSearchAds | TXEventOptionLaunch,
                                         {});
}

void LaunchLifecycle::handOverFromAppClip() {
  if (with_.settings.isAppClip || !with_.storage.boolForKey(storageKey::isAppClip)) return;
  with_.dispatch.logEvent(appClipEventName, std::nullopt, {});
  with_.storage.setBool(false, storageKey::isAppClip);
}

void LaunchLifecycle::applicationDidFinishLaunchingNotification(const platform::Notification& notification) {
  if (notification.userInfo) {
    if (openLaunchURL(*notification.userInfo)) return;
    continueLaunchActivity(*notification.userInfo);
  }
  with_.serial.post(
      with_.lifetime.guard([this] { with_.rules.willResolveSKRules(ConversionRules::finishedLaunching); }));
}

bool LaunchLifecycle::openLaunchURL(const Dictionary& launchOptions) {
  if (const std::string* source = launchOptions.string(platform::application::launchSourceApplicationKey);
      source != nullptr && !source->empty()) {
    with_.session.setSourceApplication(*source);
    TX_LOG(debug, "Source application: {}", *source);
  }
  const std::string* URL = launchOptions.string(platform::application::launchURLKey);
  if (URL == nullptr || !platform::Url::parse(*URL)) return false;
  TX_LOG(debug, "Open URL: {}", *URL);
  with_.session.skipDDLResult = true;
  with_.deepLinks.setDeepLinkAndResolve(*URL, LinkHandler::launchOptions);
  return true;
}

void LaunchLifecycle::continueLaunchActivity(const Dictionary& launchOptions) {
  const Dictionary* activities = launchOptions.dictionary(platform::application::launchUserActivityDictionaryKey);
  if (activities == nullptr) return;
  for (const auto& [key, value] : *activities) {
    const Dictionary* activity = asUserActivity(value);
    if (activity == nullptr) continue;
    TX_LOG(debug, "UserActivity from didFinishLaunch");
    with_.session.skipDDLResult = true;
    with_.session.skipNextUniversalLinkAttribution = true;
    with_.deepLinks.continueUserActivity(*activity);
    return;
  }
}

void LaunchLifecycle::applicationDidEnterBackgroundNotification() {
  with_.storage.incrementSessionCnt();
  with_.rules.willRequestConversionValueAndUpdate();
  if (const auto lastLaunchTime = with_.session.lastLaunchTime()) {
    with_.storage.setDouble(std::round(with_.platform.clock.now() - *lastLaunchTime), storageKey::lastSessionDuration);
  }
  if (with_.remoteDebugging.proxyEnabledFromServer()) {
    with_.remoteDebugging.stopRemoteDebugging();
    sendRemoteDebuggingData();
  }
  if (!with_.settings.isBackgroundRequestEnabled) return;
  TX_LOG(debug, "`isBackgroundRequestEnabled` is true");
  if (!with_.settings.isStopped()) sendClosingReport();
}

void LaunchLifecycle::sendClosingReport() {
  const Settings& settings = with_.settings;
  Dictionary report{{"app_id", settings.appleAppID()},
                    {"devkey", settings.trovixDevKey()},
                    {"uid", with_.installation.getTrovixUID()},
                    {"statType", "user_closed_app"},
                    {"platform", "iOS"}};
  report.setIfPresent("advertiserId", with_.session.advertisingIdentifier());
  report.set("originalTrovixId", with_.installation.getOriginalTrovixId());
  if (settings.anonymizeUser) report.set("deviceTrackingDisabled", "true");
  std::string body = txsdk_stringify(report);
  std::string URL = TXSDKURLFormat(Endpoint::stats, {settings.hostPrefix(), settings.host(), settings.appleAppID()});
  TrovixUtils::logRequestContent(closingReport, URL, body);
  with_.serial.post(with_.lifetime.guard(
      [this, URL = std::move(URL), body = std::move(body)] { with_.http.sendRequestWithConfiguration(URL, body); }));
}

}  // namespace trovix
