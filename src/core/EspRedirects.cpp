#include "core/EspRedirects.h"

#include <algorithm>

#include "common/Encoding.h"
#include "core/Settings.h"
#include "platform/Url.h"

namespace trovix {

std::optional<platform::URLRequest> EspRedirects::willPerformHTTPRedirection(std::uint64_t taskIdentifier,
                                                                             const platform::URLRequest& current,
                                                                             const platform::URLResponse&,
                                                                             platform::URLRequest newRequest) {
  if (current.headers.find(headerName) == nullptr) return newRequest;
  const auto held = lifetime_.hold();
  if (!held) return std::nullopt;
  auto target = platform::Url::parse(newRequest.url);
  // Servers send characters that an address may not hold; only the host counts here.
  if (!target) target = platform::Url::parse(TXSDKPercentEscapes(newRequest.url));
  if (!target || !target->host()) return std::nullopt;
  const auto domains = settings_.resolveDeepLinkURLs().value_or(std::vector<std::string>());
  if (std::find(domains.begin(), domains.end(), *target->host()) == domains.end()) return std::nullopt;
  const platform::MutexLock lock(mutex_);
  cachedHTTPRedirections_[taskIdentifier].push_back(*target->host());
  return newRequest;
}

std::vector<std::string> EspRedirects::takeCachedHTTPRedirections(std::uint64_t taskIdentifier) {
  const platform::MutexLock lock(mutex_);
  const auto found = cachedHTTPRedirections_.find(taskIdentifier);
  if (found == cachedHTTPRedirections_.end()) return {};
  std::vector<std::string> hosts = std::move(found->second);
  cachedHTTPRedirections_.erase(found);
  return hosts;
}

}  // namespace trovix
