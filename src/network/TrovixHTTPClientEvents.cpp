#include <string_view>
#include <utility>

#include "common/Encoding.h"
#include "common/Log.h"
#include "common/TXSDKError.h"
#include "device/TrovixUtils.h"
#include "network/Signing.h"
#include "network/TrovixHTTPClient.h"
#include "network/TrovixProxyManager.h"
#include "platform/Json.h"
#include "platform/Text.h"

// How the client sends events.
namespace trovix {
namespace {

constexpr std::int64_t eventRetries = 2;

bool isFailure(std::int64_t statusCode) noexcept { return statusCode >= 400 && statusCode <= 600; }

std::int64_t errorCodeOf(std::int64_t statusCode) noexcept {
  const bool isKnown = statusCode == 400 || statusCode == 403 || statusCode == 500 || statusCode == 503;
  return isKnown ? 50 : 40;
}

Error eventError(std::int64_t statusCode, const std::optional<Error>& error) {
  std::optional<Error> cause = error;
  if (error && error->underlyingError() != nullptr) cause = *error->underlyingError();
  return TXSDKError::errorWithDomain(TXSDKNetworkErrorDomain, errorCodeOf(statusCode), {},
                                     error ? "Network failure" : fmt::format("Status code failure: {}", statusCode),
                                     cause);
}

std::optional<Value> parsedBody(const Dictionary& information) {
  const Value* body = information.find("data");
  if (body == nullptr || body->data() == nullptr) return std::nullopt;
  auto parsed = platform::parseJson(*body->data());
  return parsed ? std::optional<Value>(std::move(*parsed)) : std::nullopt;
}

bool wantsMonitoring(const std::optional<Value>& answer) {
  if (!answer || answer->dictionary() == nullptr) return false;
  const Value* monitor = answer->dictionary()->find("monitor");
  return monitor != nullptr && monitor->integerValue() == 1;
}

void follow(TrovixProxyManager& remoteDebugging, bool monitoring) {
  if (monitoring) {
    remoteDebugging.startRemoteDebugging();
  } else {
    remoteDebugging.stopRemoteDebugging();
    remoteDebugging.dropPreLaunchData();
  }
}

void finishEvent(TrovixProxyManager& remoteDebugging, const TXSDKHTTPClientProtocol::EventCompletion& completionHandler,
                 const Dictionary& information, const std::optional<Error>& error) {
  TX_LOG(debug, "[HTTP] \nResult: {}                \nError: {}\n", information, description(error));
  if (!completionHandler) return;
  const Value* status = information.find("statusCode");
  const std::int64_t statusCode = status != nullptr ? status->integerValue() : 0;
  if (error || isFailure(statusCode)) {
    completionHandler(std::nullopt, eventError(statusCode, error), statusCode);
    return;
  }
  auto answer = parsedBody(information);
  follow(remoteDebugging, wantsMonitoring(answer));
  completionHandler(std::move(answer), std::nullopt, statusCode);
}

}  // namespace

void TrovixHTTPClient::sendEvent(std::shared_ptr<TXSDKEvent> event, EventCompletion completionHandler) {
  std::optional<std::string> address;
  if (event->URL) address = TXSDKPercentEscapes(*event->URL);
  event->sign(checksum_);
  const std::optional<Data> plain = event->data();
  const std::string_view body = plain ? platform::textOf(*plain) : std::string_view();
  TrovixUtils::logRequestContent(event->options, address.value_or("(null)"), body);

  auto adjust = [encrypted = event->encryptWithData(plain)](platform::URLRequest request) {
    request.body = encrypted;
    request.headers.set("Content-Type", "application/octet-stream");
    return request;
  };
  Completion finish = [&remoteDebugging = remoteDebugging_, completionHandler = std::move(completionHandler)](
                          const std::optional<Value>&, const Dictionary& information,
                          const std::optional<Error>& error) {
    finishEvent(remoteDebugging, completionHandler, information, error);
  };
  requestWithURL([address = std::move(address)] { return address; }, std::move(adjust),
                 {.method = "POST", .retries = eventRetries},
                 lifetime_ ? Completion(lifetime_->guard(std::move(finish))) : std::move(finish));
}

}  // namespace trovix
