#include "core/ConversionData.h"

#include <fmt/core.h>

#include <utility>

#include "common/Log.h"
#include "common/TXSDKError.h"
#include "core/Installation.h"
#include "core/Settings.h"
#include "network/Endpoints.h"
#include "network/TXSDKPerformance.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/Queues.h"

namespace trovix {
namespace {

constexpr double maximumAge = 5'184'000;
constexpr std::int64_t retries = 2;
constexpr std::int64_t statusOK = 200;
constexpr std::int64_t notFound = 404;

std::int64_t integerOf(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value != nullptr ? value->integerValue() : 0;
}

bool isTransportError(const std::optional<Error>& error) { return error && error->domain() == TXSDKNetworkErrorDomain; }

/// Why the server's answer is no verdict, or nothing when it is one.
std::optional<Error> refusal(std::int64_t status, const Dictionary* body) {
  if (status == statusOK && body != nullptr) return std::nullopt;
  const std::string* reason = body != nullptr ? body->string("error_reason") : nullptr;
  return TXSDKError::errorWithDomain(TXSDKGCDErrorDomain,
                                     reason != nullptr ? *reason : fmt::format("Error with status code: {}", status));
}

/// Whether the server says that it computed the data now.
bool isFresh(const Dictionary& data) {
  const Value* isCached = data.find("iscache");
  return isCached != nullptr && (isCached->isNumber() || isCached->string() != nullptr) && !isCached->boolValue();
}

}  // namespace

CacheVerdict judgeConversionCache(bool cached, double receivedAt, double now) noexcept {
  if (receivedAt != 0 && now - receivedAt > maximumAge) return CacheVerdict::expired;
  return cached ? CacheVerdict::serve : CacheVerdict::none;
}

ConversionData::ConversionData(platform::Platform& platform, Settings& settings, Installation& installation,
                               TXSDKStorageProtocol& storage, TXSDKHTTPClientProtocol& http,
                               TXSDKPerformance& performance, Lifetime lifetime)
    : platform_(platform),
      settings_(settings),
      installation_(installation),
      storage_(storage),
      http_(http),
      performance_(performance),
      lifetime_(std::move(lifetime)) {}

void ConversionData::getConversionData() {
  if (const auto delegate = settings_.delegate(); !delegate || !delegate->onConversionDataSuccess) {
    TX_LOG(debug, "[GCD-E01] Delegate is `nil` or does not respond to -[TrovixLibDelegate onConversionDataSuccess:]");
    return;
  }
  std::optional<Dictionary> cached = storage_.unarchiveForKey(storageKey::conversionData);
  const double receivedAt = storage_.doubleForKey(storageKey::conversionDataReceivedAt);
  switch (judgeConversionCache(cached.has_value(), receivedAt, platform_.clock.now())) {
    case CacheVerdict::serve:
      return deliverSuccess(*std::move(cached));
    case CacheVerdict::expired:
      // What was kept stays in storage, and without an age it is served again should this fetch fail.
      storage_.setDouble(0, storageKey::conversionDataReceivedAt);
      TX_LOG(debug, "[GCD-E02] Cached conversion data expired");
      break;
    case CacheVerdict::none:
      break;
  }
  if (settings_.isStopped()) {
    TX_LOG(debug, "[GCD-E03] `isStopped` enabled. Skip GCD");
    return;
  }
  fetch();
}

void ConversionData::fetch() {
  performance_.start(TXSDKPerformance::conversionDataNetwork);
  const double startTime = platform_.clock.now();
  auto address = [this, lifetime = lifetime_]() -> std::optional<std::string> {
    const auto held = lifetime.hold();
    return held ? std::optional(url()) : std::nullopt;
  };
  auto completion = lifetime_.guard(
      [this, startTime](const std::optional<Value>& response, const Dictionary& information,
                        const std::optional<Error>& error) { didReceive(response, information, error, startTime); });
  http_.requestWithURL(std::move(address), {}, {.retries = retries, .isReturnJSON = true}, std::move(completion));
}

std::string ConversionData::url() {
  std::string url = TXSDKURLFormat(Endpoint::gcd, {settings_.hostPrefix(), settings_.host(), settings_.appleAppID(),
                                                   settings_.trovixDevKey(), installation_.getTrovixUID()});
  TX_LOG(debug, "[GCD-B01] GCD 4.0 URL: {}", url);
  return url;
}

void ConversionData::didReceive(const std::optional<Value>& response, const Dictionary& information,
                                const std::optional<Error>& error, double startTime) {
  const Dictionary* body = response ? response->dictionary() : nullptr;
  const std::int64_t status = integerOf(information, "statusCode");
  // "Not found" is the verdict "organic", whatever its body looks like.
  if (status == notFound && !isTransportError(error)) {
    Dictionary organic = body != nullptr ? *body : Dictionary();
    organic.remove("error_reason");
    organic.remove("status_code");
    organic.set("tx_status", "Organic");
    organic.set("tx_message", "organic install");
    return didSucceed(std::move(organic), information, startTime);
  }
  // A body that does not parse does not hide the status of a refusal.
  if (error && (status == statusOK || isTransportError(error))) return deliverFailure(*error);
  if (const auto refused = refusal(status, body)) return deliverFailure(*refused);
  didSucceed(*body, information, startTime);
}

void ConversionData::didSucceed(Dictionary data, const Dictionary& information, double startTime) {
  performance_.stop(TXSDKPerformance::conversionDataNetwork);
  performance_.setInfo(retries - integerOf(information, "retries"), TXSDKPerformance::conversionDataRetries);
  const double now = platform_.clock.now();
  storage_.setDouble(static_cast<double>(saturatingInteger((now - startTime) * 1000)),
                     storageKey::conversionDataTiming);
  if (isFresh(data)) storage_.setDouble(now, storageKey::conversionDataReceivedAt);
  const bool wasDelivered = storage_.boolForKey(storageKey::conversionDataDelivered);
  if (!wasDelivered) storage_.setBool(true, storageKey::conversionDataDelivered);
  data.set("is_first_launch", !wasDelivered);
  deliverSuccess(data);
  data.set("is_first_launch", false);
  storage_.archive(std::move(data), storageKey::conversionData);
  storage_.save();
  TX_LOG(debug, "[GCD-A03] Server retrieving finished");
}

void ConversionData::deliverSuccess(Dictionary data) {
  const auto delegate = settings_.delegate();
  if (!delegate || !delegate->onConversionDataSuccess) {
    TX_LOG(debug, "[GCD-E04] Delegate does not respond to {} with object:\n{}", "onConversionDataSuccess:", data);
    return;
  }
  TX_LOG(debug, "[GCD-A02] -[{} onConversionDataSuccess:]:\n{}", delegate->className, data);
  platform_.queues.mainQueue().post(lifetime_.guard([this, data = std::move(data)] {
    if (const auto current = settings_.delegate(); current && current->onConversionDataSuccess) {
      current->onConversionDataSuccess(data);
    }
  }));
}

void ConversionData::deliverFailure(const Error& error) {
  const auto delegate = settings_.delegate();
  if (!delegate || !delegate->onConversionDataFail) {
    TX_LOG(debug, "[GCD-E04] Delegate does not respond to {} with object:\n{}", "onConversionDataFail:", error);
    return;
  }
  TX_LOG(debug, "[GCD-A02] -[{} onConversionDataFail:]:\n{}", delegate->className, error);
  platform_.queues.mainQueue().post(lifetime_.guard([this, error] {
    if (const auto current = settings_.delegate(); current && current->onConversionDataFail) {
      current->onConversionDataFail(error);
    }
  }));
}

}  // namespace trovix
