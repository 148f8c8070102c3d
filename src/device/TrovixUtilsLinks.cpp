#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/Version.h"
#include "device/TrovixUtils.h"
#include "platform/Url.h"

namespace trovix {

namespace {

/// Blanks outside ASCII, in UTF-8.
constexpr std::string_view wideSpaces[] = {
    "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
    "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000",
};

/// Bytes of the white space that the text begins with; 0 when it begins with something else.
std::size_t leadingSpace(std::string_view text) {
  if (std::string_view(" \t\n\v\f\r").find(text.front()) != std::string_view::npos) return 1;
  for (const std::string_view space : wideSpaces) {
    if (text.starts_with(space)) return space.size();
  }
  return 0;
}

bool hasShortLinkDomain(std::string_view link) {
  return std::any_of(std::begin(shortLinkDomains), std::end(shortLinkDomains),
                     [link](std::string_view domain) { return link.find(domain) != std::string_view::npos; });
}

std::optional<std::string> queryValue(const Value& value) {
  if (value.isNull()) return std::nullopt;
  return description(value);
}

}  // namespace

Dictionary TrovixUtils::queryParametersFromURL(const platform::Url& url) {
  Dictionary parameters;
  // For one item in sixteen bytes at most: a link of tiny items, perhaps all of one name, does not take many times its
  // size before it is read.
  const std::string query = url.query().value_or("");
  const auto items = static_cast<std::size_t>(std::count(query.begin(), query.end(), '&')) + 1;
  parameters.reserve(std::min(items, query.size() / 16));
  url.visitQueryItems([&](platform::QueryItem item) {
    if (item.value) parameters.set(item.name, *std::move(item.value));
  });
  return parameters;
}

platform::Url TrovixUtils::urlValidatedWithString(std::string_view marker, const platform::Url& url,
                                                  const Dictionary& parameters) {
  if (marker.empty() || url.absoluteString().find(marker) == std::string::npos) return url;
  auto items = url.queryItems();
  items.reserve(items.size() + parameters.size());
  for (const auto& [name, value] : parameters) items.push_back({name, queryValue(value)});
  return url.withQueryItems(items);
}

std::optional<std::string> TrovixUtils::getVeyraPathWithURL(const std::optional<std::string>& link,
                                                            bool isBrandedDomain, std::string& message) {
  constexpr const char* notCreated = "Could not create `shortlink`";
  if (!link) {
    message = notCreated;
    return std::nullopt;
  }
  if (!isBrandedDomain && !hasShortLinkDomain(*link)) {
    message = "Deeplink doesn't not match template or not found custom domain";
    return std::nullopt;
  }
  const auto url = platform::Url::parse(*link);
  const auto components = url ? url->pathComponents() : std::vector<std::string>();
  if (components.size() != 3 || components.front() != "/") {
    message = notCreated;
    return std::nullopt;
  }
  message = fmt::format("/shortlink-sdk/v1/{}?id={}", components[1], components[2]);
  return message;
}

bool TrovixUtils::isValidDeeplink(const std::optional<std::string>& text) {
  std::string_view rest = text ? std::string_view(*text) : std::string_view();
  while (!rest.empty()) {
    const std::size_t space = leadingSpace(rest);
    if (space == 0) return true;
    rest.remove_prefix(space);
  }
  return false;
}

bool TrovixUtils::isValidURLFromString(std::string_view text) {
  const auto url = platform::Url::parse(text);
  return url && url->host();
}

}  // namespace trovix
