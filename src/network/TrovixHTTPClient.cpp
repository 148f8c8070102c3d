#include "network/TrovixHTTPClient.h"

#include <atomic>
#include <utility>

#include "common/TXSDKError.h"
#include "common/Version.h"
#include "platform/Json.h"
#include "platform/Text.h"
#include "platform/Url.h"
#include "trovix/platform/Queues.h"

namespace trovix {
namespace {

using platform::textOf;
using platform::URLRequest;
using platform::URLResponse;
using platform::URLResult;

constexpr const char* taskIdentifierKey = "taskIdentifier";
constexpr std::int64_t unparseableBodyCode = 61;

/// A task's number is known only when its start returns, which its answer may outrun.
class TaskNumber {
 public:
  void set(std::uint64_t number) {
    number_.store(static_cast<std::int64_t>(number));
    number_.notify_one();
  }
  [[nodiscard]] std::int64_t wait() const {
    number_.wait(unknown);
    return number_.load();
  }

 private:
  static constexpr std::int64_t unknown = -1;
  std::atomic<std::int64_t> number_{unknown};
};

bool isRetried(std::int64_t statusCode) noexcept {
  return statusCode == 403 || (statusCode >= 500 && statusCode <= 599);
}

Error requestFailed(const std::optional<Error>& cause) {
  return TXSDKError::errorWithDomain(TXSDKNetworkErrorDomain, "Request failed", cause);
}

Dictionary informationAbout(const URLResponse& response, std::int64_t taskNumber, Data body, std::int64_t retries) {
  Dictionary information{{"statusCode", response.statusCode}, {taskIdentifierKey, taskNumber}};
  if (platform::isValidUtf8(textOf(body))) information.set("dataStr", textOf(body));
  information.set("data", std::move(body));
  if (const std::string* location = response.headers.find("Location")) information.set(".Location", *location);
  information.set("retries", retries);
  return information;
}

Error serialisationError(const Data& body, const Error& parserError) {
  if (body.empty() || !platform::isValidUtf8(textOf(body))) return parserError;
  return TXSDKError::errorWithDomain(TXSDKSerializationErrorDomain, unparseableBodyCode, {}, std::string(textOf(body)),
                                     std::nullopt);
}

void setJsonBody(URLRequest& request, const Dictionary& dictionary) {
  request.headers.set("Accept", "application/json");
  request.headers.set("Content-Type", "application/json");
  if (const auto json = platform::writeJson(dictionary)) request.body = Data(json->begin(), json->end());
}

platform::RedirectHandler redirectHandlerOf(std::weak_ptr<RedirectPolicy> redirectPolicy) {
  // Without a policy redirects are followed as usual.
  if (redirectPolicy.expired()) return nullptr;
  return [redirectPolicy = std::move(redirectPolicy)](std::uint64_t taskIdentifier, const URLRequest& current,
                                                      const URLResponse& response,
                                                      URLRequest proposed) -> std::optional<URLRequest> {
    const auto policy = redirectPolicy.lock();
    // Its owner is gone, and with it the list of hosts that may be followed.
    if (!policy) return std::nullopt;
    return policy->willPerformHTTPRedirection(taskIdentifier, current, response, std::move(proposed));
  };
}

}  // namespace

/// What a retry repeats.
struct TrovixHTTPClient::GeneralRequest {
  URLCallback URL;
  RequestCallback adjust;
  HTTPRequestOptions options;
  Completion completionHandler;

  /// Reports an answer that is not tried again.
  void complete(const URLResponse& response, std::int64_t taskNumber, Data body, std::int64_t retries) const {
    if (!completionHandler) return;
    std::optional<Value> object;
    std::optional<Error> error;
    if (options.isReturnJSON) {
      auto parsed = platform::parseJson(body);
      if (parsed) {
        object = std::move(*parsed);
      } else {
        error = serialisationError(body, parsed.error());
      }
    }
    completionHandler(std::move(object), informationAbout(response, taskNumber, std::move(body), retries),
                      std::move(error));
  }
};

TrovixHTTPClient::TrovixHTTPClient(platform::Platform& platform, TXSDKChecksum& checksum,
                                   TrovixProxyManager& remoteDebugging, std::weak_ptr<RedirectPolicy> redirectPolicy,
                                   std::optional<Lifetime> lifetime)
    : platform_(platform),
      checksum_(checksum),
      remoteDebugging_(remoteDebugging),
      lifetime_(std::move(lifetime)),
      genericSession_(platform.urlSessions.makeSession(redirectHandlerOf(std::move(redirectPolicy)))) {}

TrovixHTTPClient::~TrovixHTTPClient() { genericSession_->finishTasksAndInvalidate(); }

TrovixHTTPClient::Task TrovixHTTPClient::requestWithURL(URLCallback URL, RequestCallback URLRequest,
                                                        HTTPRequestOptions options, Completion completionHandler) {
  const std::int64_t retries = options.retries;
  return startAttempt(std::make_shared<const GeneralRequest>(GeneralRequest{
                          std::move(URL), std::move(URLRequest), std::move(options), std::move(completionHandler)}),
                      retries);
}

TrovixHTTPClient::Task TrovixHTTPClient::startAttempt(const std::shared_ptr<const GeneralRequest>& request,
                                                      std::int64_t retries) {
  std::optional<std::string> address = request->URL ? request->URL() : std::nullopt;
  if (!address || !platform::Url::parse(*address)) {
    refuseURL(*request);
    return nullptr;
  }
  platform::URLRequest toSend;
  toSend.url = std::move(*address);
  if (request->adjust) toSend = request->adjust(std::move(toSend));
  toSend.method = request->options.method;
  if (request->options.dictionary) setJsonBody(toSend, *request->options.dictionary);

  const auto number = std::make_shared<TaskNumber>();
  auto answered = [weakSelf = weak_from_this(), request, retries, number](URLResult result) {
    if (result.error || !result.response) {
      const Dictionary information{{taskIdentifierKey, number->wait()}};
      if (request->completionHandler) {
        request->completionHandler(std::nullopt, information, requestFailed(result.error));
      }
    } else if (isRetried(result.response->statusCode) && retries > 0) {
      if (const auto self = weakSelf.lock()) self->startAttempt(request, retries - 1);
    } else {
      request->complete(*result.response, number->wait(), std::move(result.data), retries);
    }
  };
  platform::URLSession& session = request->options.isSharedSession ? platform_.urlSessions.shared() : *genericSession_;
  Task task = session.startTask(std::move(toSend), std::move(answered));
  number->set(task ? task->taskIdentifier() : 0);
  return task;
}

void TrovixHTTPClient::refuseURL(const GeneralRequest& request) {
  if (!request.completionHandler) return;
  platform_.queues.globalQueue().post([completionHandler = request.completionHandler] {
    completionHandler(std::nullopt, {{taskIdentifierKey, 0}},
                      requestFailed(Error(urlErrorDomain, platform::urlError::badURL)));
  });
}

std::shared_ptr<TXSDKHTTPClientProtocol> TXSDKHTTPClientFactory::HTTPClientWithType(
    std::int64_t type, platform::Platform& platform, TXSDKChecksum& checksum, TrovixProxyManager& remoteDebugging,
    std::weak_ptr<RedirectPolicy> redirectPolicy, std::optional<Lifetime> lifetime) {
  if (type != 0) return nullptr;
  return std::make_shared<TrovixHTTPClient>(platform, checksum, remoteDebugging, std::move(redirectPolicy),
                                            std::move(lifetime));
}

}  // namespace trovix
