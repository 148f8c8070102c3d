#include "core/AdRevenue.h"

#include <utility>

#include "common/Counter.h"
#include "common/Encoding.h"
#include "common/EventOptions.h"
#include "common/Log.h"
#include "common/Version.h"
#include "core/EventPayload.h"
#include "core/Settings.h"
#include "device/TrovixUtils.h"
#include "network/Endpoints.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"

namespace trovix {
namespace {

constexpr int payloadType = 0;

std::string outcomeText(const std::optional<Value>& response, Dictionary information,
                        const std::optional<Error>& error) {
  information.remove("data");  // the raw body has no JSON form
  return txsdk_stringify({{"JSON", response.value_or(Value(nullptr))},
                          {"INFO", std::move(information)},
                          {"ERROR", error ? Value(error->description()) : Value(nullptr)}});
}

}  // namespace

AdRevenue::AdRevenue(Settings& settings, EventPayload& payload, TXSDKStorageProtocol& storage,
                     TXSDKHTTPClientProtocol& http, Lifetime lifetime)
    : settings_(settings), payload_(payload), storage_(storage), http_(http), lifetime_(std::move(lifetime)) {}

void AdRevenue::sendAdRevenueWithParameters(Dictionary adNetwork) {
  std::string URL = TXSDKURLFormat(Endpoint::adRevenue, {settings_.hostPrefix(), settings_.host(), serverVersion,
                                                         settings_.appleAppID(), sdkVersion});
  payload_.eventParametersInBackgroundQueueAndType(
      payloadType,
      lifetime_.guard([this, URL = std::move(URL), adNetwork = std::move(adNetwork)](Dictionary parameters) {
        const std::int64_t counter = successor(storage_.integerForKey(storageKey::adRevenueCounter));
        storage_.setInteger(counter, storageKey::adRevenueCounter);
        parameters.set("adrevenue_counter", counter);
        parameters.set("ad_network", adNetwork);
        send(URL, std::move(parameters));
      }));
}

void AdRevenue::send(const std::string& URL, Dictionary parameters) {
  const auto task = http_.requestWithURL(
      [URL] { return std::optional(URL); }, {}, {.method = "POST", .dictionary = std::move(parameters)},
      [](const std::optional<Value>& response, const Dictionary& information, const std::optional<Error>& error) {
        TX_LOG(debug, "AdRevenue session task finished:\n{}", outcomeText(response, information, error));
      });
  if (!task || !logging::isWanted(LogLevel::debug)) return;
  const platform::URLRequest& request = task->originalRequest();
  const std::string body = request.body ? std::string(request.body->begin(), request.body->end()) : std::string();
  TrovixUtils::logRequestContent(eventOption::adRevenue,
                                 request.url + "; taskIdentifier: " + std::to_string(task->taskIdentifier()), body);
}

}  // namespace trovix
