#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Header fields in their order and spelling; names compare without case.
class TROVIX_API HeaderFields {
 public:
  /// Replaces a field of that name.
  void set(std::string_view name, std::string value);
  /// Adds a field, beside those of the same name.
  void add(std::string name, std::string value);
  /// The first field of that name, or a null pointer. Valid until the next change.
  [[nodiscard]] const std::string* find(std::string_view name) const noexcept;
  [[nodiscard]] bool empty() const noexcept { return fields_.empty(); }
  [[nodiscard]] auto begin() const noexcept { return fields_.begin(); }
  [[nodiscard]] auto end() const noexcept { return fields_.end(); }

 private:
  std::vector<std::pair<std::string, std::string>> fields_;
};

/// What is asked of a server.
struct URLRequest {
  /// Absolute; what does not parse fails with -1000 (bad URL) in urlErrorDomain.
  std::string url;
  std::string method = "GET";
  HeaderFields headers = {};
  std::optional<Data> body = std::nullopt;
  /// Seconds without data; the platform's default is 60.
  std::optional<double> timeoutInterval = std::nullopt;
};

/// What a server answered, without the body.
struct URLResponse {
  std::int64_t statusCode = 0;
  HeaderFields headers;
  /// Without parameters, in lower case; empty when the server named none.
  std::string mimeType;
  /// Where the answer came from, after redirects.
  std::string url;
};

/// How a task ended: a response with its body, or an error.
struct URLResult {
  std::optional<URLResponse> response;
  Data data;
  std::optional<Error> error;
};

/// Errors in urlErrorDomain.
namespace urlError {
/// Under which an error names the address that failed.
inline constexpr const char* failingURLStringKey = "NSErrorFailingURLStringKey";
inline constexpr std::int64_t cancelled = -999;
inline constexpr std::int64_t badURL = -1000;
inline constexpr std::int64_t timedOut = -1001;
inline constexpr std::int64_t unsupportedURL = -1002;
inline constexpr std::int64_t cannotFindHost = -1003;
inline constexpr std::int64_t cannotConnectToHost = -1004;
inline constexpr std::int64_t networkConnectionLost = -1005;
inline constexpr std::int64_t httpTooManyRedirects = -1007;
inline constexpr std::int64_t badServerResponse = -1011;
inline constexpr std::int64_t appTransportSecurityRequiresSecureConnection = -1022;
inline constexpr std::int64_t dataLengthExceedsMaximum = -1103;
inline constexpr std::int64_t secureConnectionFailed = -1200;
inline constexpr std::int64_t serverCertificateUntrusted = -1202;
}  // namespace urlError

/// A request on its way. Any thread.
class TROVIX_API URLSessionTask {
 public:
  virtual ~URLSessionTask() = default;
  /// Unique within its session, from 1.
  [[nodiscard]] virtual std::uint64_t taskIdentifier() const = 0;
  /// As it was handed in, before any redirect.
  [[nodiscard]] virtual const URLRequest& originalRequest() const = 0;
};

/// Asked before a redirect is followed, on the session's queue: `current` is the request that was answered.
/// Answers the request to follow, or std::nullopt, and then the redirecting response itself is the result.
using RedirectHandler = std::function<std::optional<URLRequest>(std::uint64_t taskIdentifier, const URLRequest& current,
                                                                const URLResponse& response, URLRequest proposed)>;

/// Loads addresses. Completions run on the session's own queue, one at a time, never on the caller's stack.
/// Any thread.
class TROVIX_API URLSession {
 public:
  /// Called with how the task ended. Must not throw.
  using Completion = std::function<void(URLResult)>;
  virtual ~URLSession() = default;
  /// Starts at once. The completion is called exactly once, unless the platform shuts down first; the task may be
  /// dropped.
  virtual std::shared_ptr<URLSessionTask> startTask(URLRequest request, Completion completion) = 0;
  /// Running tasks finish; new ones are refused with `cancelled`.
  virtual void finishTasksAndInvalidate() = 0;
};

/// Where sessions come from. Any thread.
class TROVIX_API URLSessions {
 public:
  virtual ~URLSessions() = default;
  /// The platform's shared session, which follows redirects.
  [[nodiscard]] virtual URLSession& shared() = 0;
  /// A default-configuration session without cookies and caches. Without a handler redirects are followed.
  [[nodiscard]] virtual std::shared_ptr<URLSession> makeSession(RedirectHandler redirectHandler) = 0;
  /// A session whose uploads go on when the application is in the background; null when the platform has none.
  [[nodiscard]] virtual std::shared_ptr<URLSession> makeBackgroundSession(const std::string& identifier) = 0;
};

}  // namespace trovix::platform
