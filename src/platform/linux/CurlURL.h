#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "trovix/platform/URLSession.h"

struct Curl_URL;

namespace trovix::platform {

/// A web address, parsed by the library that loads it, so that what is checked is what is loaded.
class CurlURL {
 public:
  /// The address, or the urlError code of why it is not loaded: badURL, unsupportedURL for a scheme other than http and
  /// https, or appTransportSecurityRequiresSecureConnection for http to anything but a loopback address, unless plain
  /// http is allowed.
  static std::variant<CurlURL, std::int64_t> parse(const std::string& text, bool allowPlainHttp);

  [[nodiscard]] const std::string& scheme() const noexcept { return scheme_; }
  [[nodiscard]] bool isLoopback() const noexcept { return isLoopback_; }
  [[nodiscard]] Curl_URL* handle() const noexcept { return handle_.get(); }
  /// The absolute address of a reference found at this one; nothing when it is malformed. A fragment is dropped.
  [[nodiscard]] std::optional<std::string> resolve(const std::string& reference) const;
  /// Same scheme, host and port.
  [[nodiscard]] bool hasOriginOf(const CurlURL& other) const noexcept;

 private:
  struct Free {
    void operator()(Curl_URL* handle) const noexcept;
  };
  using Handle = std::unique_ptr<Curl_URL, Free>;

  explicit CurlURL(Handle handle);

  Handle handle_;
  std::string scheme_;
  std::string host_;
  std::string port_;
  bool isLoopback_ = false;
};

/// The request that follows from the answer to `current`, or nothing when the answer is no redirect. 303 turns every
/// method but HEAD, 301 and 302 turn POST into a GET without a body; other statuses repeat the request. Credentials
/// do not follow to another origin. The address may be one that cannot be loaded.
[[nodiscard]] std::optional<URLRequest> redirectedRequest(const URLRequest& current, const CurlURL& currentURL,
                                                          const URLResponse& response);

}  // namespace trovix::platform
