#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "network/TXSDKEvent.h"
#include "trovix/Error.h"
#include "trovix/Value.h"
#include "trovix/platform/URLSession.h"

namespace trovix {

/// How a general request is made.
struct HTTPRequestOptions {
  std::string method = "GET";
  /// A JSON body, with its headers.
  std::optional<Dictionary> dictionary = std::nullopt;
  /// How often 403 and 5xx are tried again.
  std::int64_t retries = 0;
  bool isReturnJSON = false;
  /// False uses the session whose redirects the SDK decides.
  bool isSharedSession = true;
};

/// The only component that loads URLs. Any thread; completions run on the sessions' queues, except those of requests
/// that could not be started, which come on the global queue.
class TXSDKHTTPClientProtocol {
 public:
  using Task = std::shared_ptr<platform::URLSessionTask>;
  /// Gives the address when the request is made; nothing, or what does not parse, is a failure.
  using URLCallback = std::function<std::optional<std::string>()>;
  /// Given the new request, returns the one to send. Empty: unchanged.
  using RequestCallback = std::function<platform::URLRequest(platform::URLRequest)>;
  /// Parsed body, information ("statusCode", "taskIdentifier", "data", "dataStr", ".Location", "retries"), error.
  using Completion = std::function<void(std::optional<Value>, const Dictionary&, std::optional<Error>)>;
  /// Parsed body, error, status (0 without an answer).
  using EventCompletion = std::function<void(std::optional<Value>, std::optional<Error>, std::int64_t)>;
  using VeyraCompletion = std::function<void(std::optional<Dictionary>, std::optional<Error>)>;
  using LinkCompletion = std::function<void(std::optional<std::string>, std::optional<Error>)>;

  virtual ~TXSDKHTTPClientProtocol() = default;

  virtual Task requestWithURL(URLCallback URL, RequestCallback URLRequest, HTTPRequestOptions options,
                              Completion completionHandler) = 0;
  /// Signs, encrypts and posts the event, with 2 retries.
  virtual void sendEvent(std::shared_ptr<TXSDKEvent> event, EventCompletion completionHandler) = 0;
  /// Fire and forget.
  virtual void sendRequestWithConfiguration(const std::string& URL, const std::string& data) = 0;
  virtual Task getVeyra(const std::string& URL, const std::string& devKey, VeyraCompletion completionHandler) = 0;
  /// A missing address or key is a programming error: it is logged and nothing is sent (null).
  virtual Task createVeyra(const std::optional<std::string>& URL, std::int64_t ttl,
                           const std::optional<std::string>& brandDomain, const std::optional<std::string>& devKey,
                           const Dictionary& parameters, LinkCompletion completionHandler) = 0;
};

/// Decides about redirects of the client's own session. Filled in by the deep link attribution.
class RedirectPolicy {
 public:
  virtual ~RedirectPolicy() = default;
  /// Session's queue. The request to follow, or nothing to refuse.
  [[nodiscard]] virtual std::optional<platform::URLRequest> willPerformHTTPRedirection(
      std::uint64_t taskIdentifier, const platform::URLRequest& current, const platform::URLResponse& response,
      platform::URLRequest newRequest) = 0;
};

}  // namespace trovix
