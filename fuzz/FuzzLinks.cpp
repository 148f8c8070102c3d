// Links are hostile: whatever the text, the rules about links hold.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/LinkText.h"
#include "device/TrovixUtils.h"
#include "fuzz/Support.h"
#include "platform/Url.h"
#include "trovix/TrovixDeepLink.h"

namespace {

using trovix::Dictionary;
using trovix::TrovixUtils;
using trovix::fuzz::require;
using trovix::platform::Url;

void checkTokens(const std::string& text) {
  const std::string stripped = trovix::linkWithoutAccessTokens(text);
  require(stripped.size() <= text.size());
  if (text.find("access_token=") == std::string::npos) require(stripped == text);
}

void checkMatcher(const std::string& marker, const Url& url) {
  const Dictionary added{{"pid", "a b&c"}, {marker, "\xff"}};
  const Url rewritten = TrovixUtils::urlValidatedWithString(marker, url, added);
  const bool isRewritten = !marker.empty() && url.absoluteString().find(marker) != std::string::npos;
  require(isRewritten || rewritten.absoluteString() == url.absoluteString());
  const auto again = Url::parse(rewritten.absoluteString());
  require(again.has_value());
  require(again->scheme() == url.scheme() && again->host() == url.host() && again->path() == url.path());
  if (!isRewritten) return;
  require(again->queryItems().size() == url.queryItems().size() + added.size());
  const Dictionary parameters = TrovixUtils::queryParametersFromURL(*again);
  require(*parameters.string(marker) == "\xff");
}

void checkShortLink(const std::string& link, const Url* url) {
  std::string message;
  const auto path = TrovixUtils::getVeyraPathWithURL(link, true, message);
  require(!message.empty());
  const auto components = url != nullptr ? url->pathComponents() : std::vector<std::string>();
  require(path.has_value() == (components.size() == 3 && components.front() == "/"));
  if (path) require(*path == message && path->starts_with("/shortlink-sdk/v1/"));
}

}  // namespace

/// The first line marks the links that the matcher rewrites and names a domain; the rest is the link.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(input.find('\n'), input.size());
  const std::string marker(input.substr(0, end));
  const std::string link(end < input.size() ? input.substr(end + 1) : std::string_view());

  checkTokens(link);
  const std::vector<std::string> domains{"", marker};
  const std::string* domain = trovix::matchingDomain(link, domains);
  require((domain != nullptr) == (!marker.empty() && link.find("://" + marker) != std::string::npos));

  const auto url = Url::parse(link);
  checkShortLink(link, url ? &*url : nullptr);
  if (!url) return 0;
  require(url->absoluteString() == link && !url->scheme().empty());
  const Dictionary parameters = TrovixUtils::queryParametersFromURL(*url);
  require(parameters.size() <= url->queryItems().size());
  const auto deepLink = trovix::TrovixDeepLink::withVeyra(parameters);
  require(!deepLink->clickEvent().contains("pid"));
  checkMatcher(marker, *url);
  return 0;
}
