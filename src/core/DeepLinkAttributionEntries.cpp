// Ways into the application: what a link goes through before it is attributed.
#include "common/DictionaryReads.h"
#include "common/Log.h"
#include "core/DeepLinkAttribution.h"
#include "core/LinkText.h"
#include "core/PushLinks.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "device/TrovixUtils.h"
#include "network/TXSDKBuffer.h"
#include "network/TXSDKPerformance.h"
#include "platform/Crypto.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix {
namespace {

constexpr const char* sourceApplicationOption = "UIApplicationOpenURLOptionsSourceApplicationKey";

Value searchPathsValue(const PushLinkPaths::Paths& paths) {
  Array list;
  for (const auto& path : paths) list.emplace_back(Array(path.begin(), path.end()));
  return list;
}

/// Text, or a number as its text, as the storage reads it back.
std::optional<std::string> storedTextAt(const Dictionary& fields, const char* key) {
  const Value* value = fields.find(key);
  if (value == nullptr || (value->string() == nullptr && !value->isNumber())) return std::nullopt;
  return description(*value);
}

}  // namespace

void DeepLinkAttribution::handleOpenURL(const std::optional<std::string>& URL,
                                        const std::optional<std::string>& sourceApplication) {
  TX_LOG(debug, "handleOpenURL: {}, sourceApplication: {}", description(URL), description(sourceApplication));
  setDeepLinkAndResolve(URL, LinkHandler::openURLWithSource);
  with_.session.setSourceApplication(sourceApplication);
}

void DeepLinkAttribution::handleOpenUrl(const std::optional<std::string>& URL, const Dictionary& options) {
  TX_LOG(debug, "handleOpenUrl: {}", description(URL));
  setDeepLinkAndResolve(URL, LinkHandler::openURLWithOptions);
  with_.session.setSourceApplication(textAt(options, sourceApplicationOption));
}

bool DeepLinkAttribution::continueUserActivityUnlessSkipped(const Dictionary& userActivity) {
  if (!with_.session.skipNextUniversalLinkAttribution.exchange(false)) continueUserActivity(userActivity);
  return true;
}

void DeepLinkAttribution::continueUserActivity(const Dictionary& userActivity) {
  if (textAt(userActivity, "activityType") != platform::application::browsingWebActivityType) {
    TX_LOG(debug, "Wrong `activityType`");
    return;
  }
  const auto webpageURL = textAt(userActivity, "webpageURL");
  TX_LOG(debug, "NSUserActivity `webpageURL`: {}", description(webpageURL));
  setDeepLinkAndResolve(webpageURL, LinkHandler::universalLink);
}

void DeepLinkAttribution::performOnAppAttributionWithURL(const std::optional<std::string>& URL) {
  TX_LOG(debug, "Force trigger attribution with:\n{}", description(URL));
  with_.serial.post(
      with_.lifetime.guard([this, link = URL.value_or(std::string())] { performOnAppAttribution(link, {}); }));
}

void DeepLinkAttribution::setDeepLinkAndResolve(const std::optional<std::string>& URL, LinkHandler handler) {
  if (!URL) {
    const platform::MutexLock lock(mutex_);
    deeplink_.reset();
    return;
  }
  const double startTime = with_.platform.clock.now();
  std::string link = linkWithoutAccessTokens(*URL);
  {
    const platform::MutexLock lock(mutex_);
    deeplink_ = link;
  }
  with_.serial.post(with_.lifetime.guard([this, link = std::move(link), startTime, handler] {
    TX_LOG(debug, "Deeplink regex execution time: {:f}", with_.platform.clock.now() - startTime);
    enqueue(link, handler);
  }));
}

void DeepLinkAttribution::enqueue(const std::string& link, LinkHandler handler) {
  auto event = std::make_shared<TXSDKEvent>(Dictionary(), "", "", eventOption::deepLink);
  const auto run = [this, link, handler](const std::shared_ptr<TXSDKOperation>& operation) {
    performOnAppAttribution(link, [this, handler, operation](const std::shared_ptr<LinkRecord>& record) {
      {
        const platform::MutexLock lock(mutex_);
        veyraParams_ = record;
      }
      if (handler == LinkHandler::pushNotification) {
        if (const auto key = textAt(record->parameters(), "tx_deeplink")) {
          with_.performance.setInfo(searchPathsValue(*with_.pushPaths.deepLinkSearchPaths()), *key);
        }
      }
      operation->finishWithStatusCode(operationStatus::delivered);
    });
  };
  with_.buffer.addElement(TXSDKOperation::Id("Veyra-" + platform::randomUUIDString(), std::move(event),
                                             with_.lifetime.guard(run), with_.platform.clock));
}

void DeepLinkAttribution::appendParametersToDeepLinkingURLWithString(std::string containsString,
                                                                     Dictionary queryParameters) {
  const platform::MutexLock lock(mutex_);
  containsString_ = std::move(containsString);
  queryParameters_ = std::move(queryParameters);
}

std::optional<std::string> DeepLinkAttribution::deeplink() const {
  const platform::MutexLock lock(mutex_);
  return deeplink_;
}

std::optional<Dictionary> DeepLinkAttribution::takeVeyraParams() {
  std::shared_ptr<LinkRecord> record;
  {
    const platform::MutexLock lock(mutex_);
    record.swap(veyraParams_);
  }
  return record ? std::optional(record->parameters()) : std::nullopt;
}

void DeepLinkAttribution::handleVeyraResponse(const std::optional<Value>& response) {
  const Dictionary* fields = response ? response->dictionary() : nullptr;
  if (fields == nullptr) return;
  // Only the few fields that count travel to the serial queue, not the whole answer.
  const Value* sendBackground = fields->find("send_background");
  const bool isBackgroundRequestEnabled = sendBackground != nullptr && sendBackground->integerValue() == 1;
  with_.serial.post(
      with_.lifetime.guard([this, isBackgroundRequestEnabled, domain = storedTextAt(*fields, "vy_domain"),
                            version = storedTextAt(*fields, "vy_ver"), scheme = textAt(*fields, "vy_scheme")] {
        with_.settings.isBackgroundRequestEnabled = isBackgroundRequestEnabled;
        if (txsdk_exists(domain)) with_.storage.setString(*domain, storageKey::linkDomain);
        if (txsdk_exists(version)) with_.storage.setString(*version, storageKey::linkVersion);
        if (TrovixUtils::isValidDeeplink(scheme)) with_.storage.setString(*scheme, storageKey::linkScheme);
        with_.storage.save();
      }));
}

}  // namespace trovix
