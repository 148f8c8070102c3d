#include "platform/linux/CurlURL.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <strings.h>

#include <utility>

namespace trovix::platform {
namespace {

std::string part(CURLU* handle, CURLUPart what, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(handle, what, &text, flags) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

bool isLoopbackHost(const std::string& host) {
  if (strcasecmp(host.c_str(), "localhost") == 0) return true;
  in_addr v4{};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == IN_LOOPBACKNET;
  if (host.size() < 2 || host.front() != '[' || host.back() != ']') return false;
  in6_addr v6{};
  return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

bool isRedirect(std::int64_t status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool becomesGet(std::int64_t status, const std::string& method) {
  if (status == 303) return method != "HEAD" && method != "GET";
  return (status == 301 || status == 302) && method == "POST";
}

HeaderFields without(const HeaderFields& fields, std::initializer_list<const char*> names) {
  HeaderFields kept;
  for (const auto& [name, value] : fields) {
    bool isDropped = false;
    for (const char* dropped : names) isDropped = isDropped || strcasecmp(name.c_str(), dropped) == 0;
    if (!isDropped) kept.add(name, value);
  }
  return kept;
}

}  // namespace

void CurlURL::Free::operator()(Curl_URL* handle) const noexcept { curl_url_cleanup(handle); }

CurlURL::CurlURL(Handle handle) : handle_(std::move(handle)) {
  scheme_ = part(handle_.get(), CURLUPART_SCHEME);
  host_ = part(handle_.get(), CURLUPART_HOST);
  port_ = part(handle_.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  isLoopback_ = isLoopbackHost(host_);
}

std::variant<CurlURL, std::int64_t> CurlURL::parse(const std::string& text, bool allowPlainHttp) {
  Handle handle(curl_url());
  // A NUL would cut the address short.
  if (!handle || text.find('\0') != std::string::npos) return urlError::badURL;
  const auto outcome = curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME);
  if (outcome != CURLUE_OK) {
    const bool hasNoHost = outcome == CURLUE_NO_HOST || outcome == CURLUE_BAD_FILE_URL;
    return hasNoHost && text.compare(0, 4, "http") != 0 ? urlError::unsupportedURL : urlError::badURL;
  }
  CurlURL url(std::move(handle));
  if (url.scheme_ != "https" && url.scheme_ != "http") return urlError::unsupportedURL;
  if (url.scheme_ == "http" && !url.isLoopback_ && !allowPlainHttp) {
    return urlError::appTransportSecurityRequiresSecureConnection;
  }
  return url;
}

std::optional<std::string> CurlURL::resolve(const std::string& reference) const {
  const Handle copy(curl_url_dup(handle_.get()));
  if (!copy) return std::nullopt;
  const unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE;
  if (curl_url_set(copy.get(), CURLUPART_URL, reference.c_str(), flags) != CURLUE_OK) return std::nullopt;
  curl_url_set(copy.get(), CURLUPART_FRAGMENT, nullptr, 0);
  return part(copy.get(), CURLUPART_URL);
}

bool CurlURL::hasOriginOf(const CurlURL& other) const noexcept {
  return scheme_ == other.scheme_ && port_ == other.port_ && strcasecmp(host_.c_str(), other.host_.c_str()) == 0;
}

std::optional<URLRequest> redirectedRequest(const URLRequest& current, const CurlURL& currentURL,
                                            const URLResponse& response) {
  const std::string* location = isRedirect(response.statusCode) ? response.headers.find("Location") : nullptr;
  if (location == nullptr || location->empty()) return std::nullopt;
  URLRequest next = current;
  // What cannot be resolved fails as it stands.
  next.url = currentURL.resolve(*location).value_or(*location);
  if (becomesGet(response.statusCode, current.method)) {
    next.method = "GET";
    next.body.reset();
    next.headers = without(next.headers, {"Content-Type", "Content-Length", "Content-Encoding"});
  }
  const auto target = CurlURL::parse(next.url, true);
  const auto* targetURL = std::get_if<CurlURL>(&target);
  if (targetURL != nullptr && !targetURL->hasOriginOf(currentURL)) {
    next.headers = without(next.headers, {"Authorization", "Proxy-Authorization", "Cookie"});
  }
  return next;
}

}  // namespace trovix::platform
