#include "core/ConversionRuleFetcher.h"

#include <cassert>
#include <utility>

#include "common/Log.h"
#include "core/Installation.h"
#include "core/Settings.h"
#include "core/TXSDKSKAdNetwork.h"
#include "network/Endpoints.h"
#include "network/Signing.h"
#include "network/TXSDKBuffer.h"
#include "platform/Crypto.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"

namespace trovix {
namespace {

constexpr std::uint64_t readyBits =
    ConversionRules::finishedLaunching | ConversionRules::devKeyKnown | ConversionRules::appIdKnown;
constexpr double answerTimeout = 4.0;

}  // namespace

ConversionRuleFetcher::ConversionRuleFetcher(Collaborators collaborators) : with_(std::move(collaborators)) {}

ConversionRuleFetcher::~ConversionRuleFetcher() = default;

std::shared_ptr<TXSDKSKAdNetwork> ConversionRuleFetcher::SKAdNetwork() const {
  if (with_.settings.disableSKAdNetwork) return nullptr;
  const platform::MutexLock lock(mutex_);
  if (!keeper_) keeper_ = std::make_shared<TXSDKSKAdNetwork>(with_.platform, with_.loader, with_.storage);
  return keeper_;
}

bool ConversionRuleFetcher::isS2SModeEnabled() const {
  const auto keeper = SKAdNetwork();
  return keeper && keeper->isS2SModeEnabled();
}

bool ConversionRuleFetcher::isSKWindowExpired() const {
  const auto keeper = SKAdNetwork();
  return !keeper || keeper->isSKWindowExpired();
}

std::int32_t ConversionRuleFetcher::willUpdateConversionValueWithName(const std::string& name,
                                                                      const std::optional<Dictionary>& values) {
  assert(with_.serial.isCurrent());
  const auto keeper = SKAdNetwork();
  return keeper ? keeper->willUpdateConversionValueWithName(name, values) : 0;
}

void ConversionRuleFetcher::willResolveSKRules(std::uint64_t bit) {
  if (txsdk_exists(with_.storage.dictionaryForKey(storageKey::conversionRules))) return;
  SKRuleGateway_ |= bit;
  if (SKRuleGateway_ != readyBits || didRequestRules_) return;
  didRequestRules_ = true;
  requestRules();
}

void ConversionRuleFetcher::requestRules() {
  const std::string appleAppID = with_.settings.appleAppID();
  const std::string devKey = with_.settings.trovixDevKey();
  if (appleAppID.empty() || devKey.empty()) {
    TX_LOG(debug, "[SKAd] SKRules request not sent: missing appleAppID or trovixDevKey\n");
    return;
  }
  const std::string currency = with_.settings.currencyCode().value_or("USD");
  const std::string uid = with_.installation.getTrovixUID();
  const std::string timestamp = millisecondTimestamp(with_.platform.clock.now());
  add({.operationPrefix = "SKAD-",
       .options = eventOption::conversionRules,
       .endpoint = Endpoint::skRules,
       .arguments = {uid, appleAppID, currency},
       .timestamp = timestamp,
       .authorization = conversionRulesSignature(devKey, timestamp, appleAppID, uid, currency),
       .handleResponse = [this](const Value& response) {
         const auto keeper = SKAdNetwork();
         const int result = keeper ? static_cast<int>(keeper->didReceiveConfiguration(response)) : 0;
         TX_LOG(debug, "[SKAd] didReceiveConfiguration: {}\n", result);
       }});
}

void ConversionRuleFetcher::willRequestConversionValueAndUpdate() {
  if (!isS2SModeEnabled() || isSKWindowExpired()) return;
  const std::string appleAppID = with_.settings.appleAppID();
  const std::string uid = with_.installation.getTrovixUID();
  const std::string timestamp = millisecondTimestamp(with_.platform.clock.now());
  add({.operationPrefix = "SKADS2S-",
       .options = eventOption::conversionValue,
       .endpoint = Endpoint::skConversionValue,
       .arguments = {uid, appleAppID},
       .timestamp = timestamp,
       .authorization = conversionValueSignature(with_.settings.trovixDevKey(), timestamp, appleAppID, uid),
       .handleResponse = [this](const Value& response) {
         const Dictionary* fields = response.dictionary();
         const Value* value = fields != nullptr ? fields->find("value") : nullptr;
         if (value == nullptr || value->integerValue() == 0) return;
         willUpdateConversionValueWithName("txsdk_s2s_upcv",
                                           Dictionary{{"conversion_value_s2s", value->integerValue()}});
       }});
}

void ConversionRuleFetcher::add(Request request) {
  auto event = std::make_shared<TXSDKEvent>(Dictionary(), "", "", request.options);
  std::string operationId = request.operationPrefix + platform::randomUUIDString();
  with_.buffer.addElement(TXSDKOperation::Id(
      std::move(operationId), std::move(event),
      with_.lifetime.guard([this, request = std::move(request)](const std::shared_ptr<TXSDKOperation>& operation) {
        send(request, operation);
      }),
      with_.platform.clock));
}

void ConversionRuleFetcher::send(const Request& request, const std::shared_ptr<TXSDKOperation>& operation) {
  with_.http.requestWithURL(
      [this, endpoint = request.endpoint, rest = request.arguments] {
        std::vector<std::optional<std::string>> arguments{with_.settings.hostPrefix(), with_.settings.host()};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        std::string URL = TXSDKURLFormat(endpoint, arguments);
        TX_LOG(debug, "[SKAd] URL: {}\n", URL);
        return std::optional(std::move(URL));
      },
      [timestamp = request.timestamp, authorization = request.authorization](platform::URLRequest urlRequest) {
        urlRequest.headers.set("Tx-Timestamp", timestamp);
        urlRequest.headers.set("Authorization", authorization);
        urlRequest.timeoutInterval = answerTimeout;
        return urlRequest;
      },
      {.isReturnJSON = true},
      // Events raise the value on the serial queue; an answer beside them could set it back.
      with_.lifetime.guard([this, request, operation](std::optional<Value> response, const Dictionary&,
                                                      std::optional<Error> error) {
        with_.serial.post(
            with_.lifetime.guard([this, request, operation, response = std::move(response), error = std::move(error)] {
              receive(request, response, error);
              operation->finishWithStatusCode(operationStatus::delivered);
            }));
      }));
}

void ConversionRuleFetcher::receive(const Request& request, const std::optional<Value>& response,
                                    const std::optional<Error>& error) {
  assert(with_.serial.isCurrent());
  if (error) {
    TX_LOG(debug, "[SKAd] Request Error: {}\n", *error);
  } else if (response) {
    request.handleResponse(*response);
  }
}

}  // namespace trovix
