#include "core/EventDispatch.h"

#include <fmt/core.h>

#include <cassert>
#include <chrono>
#include <utility>

#include "common/Encoding.h"
#include "common/EventOptions.h"
#include "common/Log.h"
#include "common/TXSDKError.h"
#include "common/Version.h"
#include "core/ConversionData.h"
#include "core/ConversionRules.h"
#include "core/DeepLinks.h"
#include "core/EventPayload.h"
#include "core/EventValue.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "device/TXSDKiAdClient.h"
#include "device/TrovixUtils.h"
#include "network/Endpoints.h"
#include "network/TXSDKEventCache.h"
#include "network/TXSDKPerformance.h"
#include "platform/Text.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/Console.h"
#include "trovix/platform/Queues.h"
#include "trovix/platform/URLSession.h"

namespace trovix {

using namespace eventOption;  // NOLINT(google-build-using-namespace): the names of the bits say enough

namespace {

constexpr std::chrono::milliseconds eventDelay{400};
constexpr std::int64_t noDevKey = 41;
constexpr std::int64_t stoppedCode = 11;

constexpr std::uint64_t freshLaunch = TXEventOptionSearchAds | TXEventOptionColdStart | TXEventOptionFirstLaunch;

Error eventError(std::int64_t code, const char* message) {
  return TXSDKError::errorWithDomain(TXSDKEventErrorDomain, code, {}, message, std::nullopt);
}

/// The first two and the last four characters stay readable.
std::string maskedDevKey(const std::string& key) {
  const std::size_t length = platform::utf16Length(key);
  return key.substr(0, platform::utf8OffsetOfUtf16Unit(key, 2)) + "*****" +
         key.substr(platform::utf8OffsetOfUtf16Unit(key, length - 4));
}

/// Whether the event's own address is at fault, so that no connection will ever deliver it. A server that redirects to
/// nowhere is no such fault.
bool isAddressRefused(const TXSDKEvent& event, const Error& error) {
  const Error* cause = error.underlyingError();
  if (cause == nullptr || cause->domain() != urlErrorDomain) return false;
  if (cause->code() != platform::urlError::badURL && cause->code() != platform::urlError::unsupportedURL) return false;
  const std::string* refused = cause->userInfo().string(platform::urlError::failingURLStringKey);
  return refused == nullptr || *refused == TXSDKPercentEscapes(event.URL.value_or(""));
}

}  // namespace

EventDispatch::EventDispatch(Collaborators collaborators)
    : with_(std::move(collaborators)),
      metadata_({.storage = with_.storage,
                 .iAdClient = with_.iAdClient,
                 .performance = with_.performance,
                 .deepLinks = with_.deepLinks,
                 .rules = with_.rules,
                 .partners = with_.partners}) {}

void EventDispatch::logEvent(std::string name, std::optional<Dictionary> values, Completion completionHandler) {
  with_.serial.postAfter(eventDelay, with_.lifetime.guard([this, name = std::move(name), values = std::move(values),
                                                           completion = std::move(completionHandler)]() mutable {
    callServerWithEventName(name, values, TXEventOptionInAppEvent, std::move(completion));
  }));
}

void EventDispatch::callServerWithEventName(const std::string& name, const std::optional<Dictionary>& eventValues,
                                            std::uint64_t options, Completion completion) {
  assert(with_.serial.isCurrent());
  if (!checkConfiguration(completion)) return;
  auto request = std::make_shared<Request>(Request{.options = options,
                                                   .parameters = buildParameters(name, eventValues, options),
                                                   .url = {},
                                                   .completion = std::move(completion)});
  with_.iAdClient.requestIDWithCompletionHandler(
      with_.lifetime.guard([this, request](const AdvertisingIdentity& identity) {
        addIdentity(*request, identity);
        with_.platform.queues.mainQueue().post(with_.lifetime.guard([this, request] { collectFacebookData(request); }));
      }));
}

bool EventDispatch::checkConfiguration(const Completion& completion) {
  const std::string devKey = with_.settings.trovixDevKey();
  if (devKey.empty()) {
    TX_LOG(debug, "`trovixDevKey` missing or empty. Aborting");
    if (completion) completion(std::nullopt, eventError(noDevKey, "No dev key"));
    return false;
  }
  if (platform::utf16Length(devKey) > 10) {
    TX_LOG(debug, "`trovixDevKey`: {}", maskedDevKey(devKey));
  } else {
    TX_LOG(debug, "`trovixDevKey` wrong length");
  }
  if (with_.settings.appleAppID().empty()) {
    with_.platform.console.print("`appleAppID` for TrovixSDK is not provided\n");
    TX_LOG(debug, "`appleAppID` is missing. SDK will work not properly\n");
  }
  return true;
}

TrovixDictionary EventDispatch::buildParameters(const std::string& name, const std::optional<Dictionary>& eventValues,
                                                std::uint64_t options) {
  const bool isLaunch = (options & TXEventOptionLaunch) != 0;
  const bool isInAppEvent = (options & TXEventOptionInAppEvent) != 0;
  std::string eventValue = encodedEventValue(eventValues, isInAppEvent);
  TrovixDictionary parameters = with_.payload.getEventParameters(isLaunch);
  Dictionary& dict = parameters.dict();
  dict.set("event", name);
  dict.set("eventName", name);
  dict.set("eventvalue", std::move(eventValue));
  if (isInAppEvent) {
    const std::int32_t value = with_.rules.willUpdateConversionValueWithName(name, eventValues);
    if (value > 0) dict.set("sk_upcv", value);
  }
  if (isLaunch) markLaunch(parameters, options);
  if ((options & freshLaunch) != 0) {
    const std::int64_t container = TrovixUtils::txsdk_mac_os_sandbox_container();
    if (container != 0) dict.set("app_sandbox_container", container);
  }
  return parameters;
}

void EventDispatch::markLaunch(TrovixDictionary& parameters, std::uint64_t options) {
  if ((options & TXEventOptionSearchAds) == 0) with_.rules.willRequestConversionValueAndUpdate();
  const double now = with_.platform.clock.now();
  with_.session.setLastLaunchTime(now);
  if ((options & TXEventOptionFirstLaunch) == 0) return;
  addInstallReceipt(parameters);
  with_.storage.setString(fmt::format("{:f}", now), storageKey::installTimestamp);
}

void EventDispatch::addInstallReceipt(TrovixDictionary& parameters) {
  TX_LOG(debug, "Get install receipt");
  const Dictionary receipt = with_.utils.getStoreReceipt();
  std::string text = txsdk_stringify(receipt);
  TX_LOG(debug, "Install receipt: {}", text);
  const Value* data = receipt.find("data");
  // A receipt that could not be read has text in its place.
  if (!txsdk_exists(data) || data->string() != nullptr) return;
  TX_LOG(debug, "Valid install receipt data");
  parameters.dict().set("installReceiptData", std::move(text));
}

void EventDispatch::addIdentity(Request& request, const AdvertisingIdentity& identity) {
  Dictionary& dict = request.parameters.dict();
  if (identity.reason) {
    TX_LOG(debug, "{}", *identity.reason);
    dict.set("load_framework_result", *identity.reason);
  }
  dict.set("advertiserId", identity.identifier);
  dict.set("advertiserIdEnabled", identity.isTrackingEnabled);
  const bool isReported = (request.options & (TXEventOptionLaunch | TXEventOptionInAppEvent)) != 0;
  if (isReported && identity.trackingStatus != -1) dict.set("att_status", identity.trackingStatus);
  with_.session.setAdvertisingIdentifier(identity.identifier);
  request.url = urlFor(request.options);
}

std::string EventDispatch::urlFor(std::uint64_t options) const {
  Endpoint endpoint = Endpoint::launches;
  if ((options & TXEventOptionInAppEvent) != 0) {
    endpoint = Endpoint::inApps;
  } else if ((options & TXEventOptionSearchAds) != 0) {
    endpoint = Endpoint::attr;
  } else if ((options & TXEventOptionFirstLaunch) != 0) {
    endpoint = Endpoint::conversions;
  }
  const Settings& settings = with_.settings;
  return TXSDKURLFormat(
      endpoint, {settings.hostPrefix(), settings.host(), serverVersion, "event", settings.appleAppID(), sdkVersion});
}

void EventDispatch::collectFacebookData(const RequestInProgress& request) {
  Dictionary facebook;
  facebook.setIfPresent("fb_anon_id", with_.utils.retrievePersistedAnonymousID());
  if ((request->options & freshLaunch) != 0) {
    if (auto link = with_.settings.facebookDeferredAppLink(); txsdk_exists(link)) {
      facebook.set("fb_ddl", Dictionary{{"link", *std::move(link)}, {"ttr", "0"}});
    } else if (txsdk_exists(with_.settings.facebookClassName())) {
      return fetchFacebookLink(request, std::move(facebook));
    }
  }
  submit(request, std::move(facebook));
}

void EventDispatch::fetchFacebookLink(const RequestInProgress& request, Dictionary facebook) {
  with_.utils.fetchFacebookDeferredAppLink(
      with_.lifetime.guard([this, request, facebook = std::move(facebook)](const Dictionary& answer) mutable {
        if (const std::string* link = answer.string("link"); link != nullptr && !link->empty()) {
          with_.settings.setFacebookDeferredAppLink(*link);
        }
        facebook.set("fb_ddl", answer);
        submit(request, std::move(facebook));
      }));
}

void EventDispatch::submit(const RequestInProgress& request, Dictionary facebook) {
  with_.serial.post(with_.lifetime.guard([this, request, facebook = std::move(facebook)] {
    request->parameters.dict().merge(facebook);
    executeRequestWithUrlString(request->url, request->options, std::move(request->parameters),
                                withConversionData(request->options, std::move(request->completion)));
  }));
}

EventDispatch::Completion EventDispatch::withConversionData(std::uint64_t options, Completion completion) {
  const bool isLaunch = (options & TXEventOptionLaunch) != 0;
  if (!isLaunch || (options & TXEventOptionSearchAds) != 0) return completion;
  return with_.lifetime.guard([this, completion = std::move(completion)](const std::optional<Dictionary>& data,
                                                                         const std::optional<Error>& error) {
    TX_LOG(debug, "Loading conversion data");
    with_.conversionData.getConversionData();
    if (completion) completion(data, error);
  });
}

void EventDispatch::executeRequestWithUrlString(const std::string& urlString, std::uint64_t eventOptions,
                                                TrovixDictionary parameters, Completion completionHandler) {
  if (with_.settings.isStopped()) {
    TX_LOG(info, "Depends on `isStopTracking` request not sent");
    if (completionHandler) {
      completionHandler(std::nullopt, eventError(stoppedCode, "Skipping event because `isStopTracking` enabled"));
    }
    return;
  }
  TXSDKEvent event(std::move(parameters.dict()), urlString, sdkVersion, eventOptions);
  // What no connection will ever deliver is not kept for another one.
  if (TrovixUtils::isValidURLFromString(TXSDKPercentEscapes(urlString))) with_.cache.cacheEvent(event);
  executeRequestWithEvent(std::move(event), std::move(completionHandler));
}

void EventDispatch::executeRequestWithEvent(TXSDKEvent event, Completion completionHandler) {
  std::string identifier = event.UUID();
  auto block =
      with_.lifetime.guard([this, completion = std::move(completionHandler)](
                               const std::shared_ptr<TXSDKOperation>& operation) { run(operation, completion); });
  with_.buffer.addElement(TXSDKOperation::Id(std::move(identifier), std::make_shared<TXSDKEvent>(std::move(event)),
                                             std::move(block), with_.platform.clock));
}

void EventDispatch::run(const std::shared_ptr<TXSDKOperation>& operation, const Completion& completion) {
  metadata_.addTo(*operation->userObject());
  with_.http.sendEvent(
      operation->userObject(),
      with_.lifetime.guard([this, operation, completion](const std::optional<Value>& response,
                                                         const std::optional<Error>& error, std::int64_t statusCode) {
        didAnswer(operation, completion, response, error, statusCode);
      }));
}

void EventDispatch::didAnswer(const std::shared_ptr<TXSDKOperation>& operation, const Completion& completion,
                              const std::optional<Value>& response, const std::optional<Error>& error,
                              std::int64_t statusCode) {
  with_.deepLinks.handleVeyraResponse(response);
  if (completion) completion(Dictionary{{"statusCode", statusCode}}, error);
  const TXSDKEvent& event = *operation->userObject();
  if (error && statusCode == 0) {
    return operation->finishWithStatusCode(isAddressRefused(event, *error) ? operationStatus::delivered
                                                                           : operationStatus::keptForRetry);
  }
  if (!event.isUncounted()) {
    if (event.has(TXEventOptionLaunch)) {
      with_.storage.incrementLaunchCnt();
    } else {
      with_.storage.incrementInAppCnt();
    }
  }
  if (event.has(TXEventOptionFirstLaunch)) with_.performance.stop(TXSDKPerformance::firstLaunchNetwork);
  operation->finishWithStatusCode(operationStatus::delivered);
}

}  // namespace trovix
