#include "platform/Url.h"

#include <algorithm>
#include <utility>

namespace trovix::platform {
namespace {

// What a name or a value of a query item keeps: the characters of a query but its own two separators.
constexpr AllowedBytes queryItemBytes = allowedBytes("-._~!$'()*+,;:@/?");
// What may stand in a URL at all.
constexpr AllowedBytes urlBytes = allowedBytes("-._~!$&'()*+,;=:@/?#%");

std::string_view withoutBrackets(std::string_view host) noexcept {
  if (host.starts_with('[') && host.ends_with(']')) return host.substr(1, host.size() - 2);
  return host;
}

// Calls `take` with every piece of the text between separators.
template <typename Take>
void split(std::string_view text, char separator, Take take) {
  for (;;) {
    const std::size_t end = text.find(separator);
    take(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

bool isHexDigit(char c) noexcept { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

/// Whether the text holds only what a URL may hold; brackets belong to the host alone.
bool isMadeOfUrlBytes(std::string_view text) noexcept {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const bool hasHost = text.substr(colon).starts_with("://");
  const std::size_t hostEnd = hasHost ? std::min(text.find_first_of("/?#", colon + 3), text.size()) : 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool isBracket = c == '[' || c == ']';
    if (isBracket ? i >= hostEnd : !urlBytes.of[static_cast<unsigned char>(c)]) return false;
    if (c == '%' && (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))) return false;
  }
  return true;
}

bool isScheme(std::string_view text) noexcept {
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [&](char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
  });
}

bool isPort(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The host between user information and port, its brackets included; nothing when the authority is none.
std::optional<std::string_view> hostOfAuthority(std::string_view authority) noexcept {
  if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
    if (authority.substr(0, at).find_first_of("@[]") != std::string_view::npos) return std::nullopt;
    authority.remove_prefix(at + 1);
  }
  std::size_t hostEnd = 0;
  if (authority.starts_with('[')) {
    hostEnd = authority.find(']') + 1;
    const std::string_view address = authority.substr(0, hostEnd);
    constexpr std::size_t shortest = 4;  // "[::]"
    if (address.size() < shortest || address.find_first_not_of("0123456789abcdefABCDEF:.", 1) != address.size() - 1) {
      return std::nullopt;
    }
  } else {
    hostEnd = std::min(authority.find(':'), authority.size());
    if (authority.substr(0, hostEnd).find_first_of("[]") != std::string_view::npos) return std::nullopt;
  }
  const std::string_view rest = authority.substr(hostEnd);
  if (!rest.empty() && (rest.front() != ':' || !isPort(rest.substr(1)))) return std::nullopt;
  return authority.substr(0, hostEnd);
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (text.empty() || !isMadeOfUrlBytes(text)) return std::nullopt;
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || !isScheme(text.substr(0, colon))) return std::nullopt;

  Url url;
  url.text_ = text;
  url.scheme_ = text.substr(0, colon);
  url.fragmentBegin_ = text.find('#');
  const std::size_t end = std::min(url.fragmentBegin_, text.size());
  if (text.find('#', end + 1) != std::string_view::npos) return std::nullopt;
  if (const std::size_t question = text.find('?'); question < end) {
    url.queryBegin_ = question;
    url.query_ = text.substr(question + 1, end - question - 1);
  }
  std::string_view path = text.substr(0, std::min(url.queryBegin_, end)).substr(colon + 1);
  if (path.starts_with("//")) {
    const std::size_t authorityEnd = std::min(path.find('/', 2), path.size());
    const auto host = hostOfAuthority(path.substr(2, authorityEnd - 2));
    if (!host) return std::nullopt;
    if (!host->empty()) url.host_ = percentDecode(withoutBrackets(*host));
    path.remove_prefix(authorityEnd);
  }
  url.encodedPath_ = path;
  if (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  url.path_ = percentDecode(path);
  return url;
}

std::vector<std::string> Url::pathComponents() const {
  std::vector<std::string> components;
  if (encodedPath_.starts_with('/')) components.emplace_back("/");
  split(encodedPath_, '/', [&](std::string_view name) {
    if (!name.empty()) components.push_back(percentDecode(name));
  });
  return components;
}

std::vector<QueryItem> Url::queryItems() const {
  std::vector<QueryItem> items;
  visitQueryItems([&](QueryItem item) { items.push_back(std::move(item)); });
  return items;
}

void Url::visitQueryItems(const std::function<void(QueryItem)>& visit) const {
  if (!query_ || query_->empty()) return;
  split(*query_, '&', [&](std::string_view item) {
    const std::size_t equals = item.find('=');
    QueryItem decoded;
    decoded.name = percentDecode(item.substr(0, equals));
    if (equals != std::string_view::npos) decoded.value = percentDecode(item.substr(equals + 1));
    visit(std::move(decoded));
  });
}

Url Url::withQueryItems(const std::vector<QueryItem>& items) const {
  Url url = *this;
  url.query_.reset();
  url.queryBegin_ = std::string::npos;
  url.text_.resize(std::min({queryBegin_, fragmentBegin_, text_.size()}));
  if (!items.empty()) {
    std::string query;
    for (const QueryItem& item : items) {
      if (&item != &items.front()) query += '&';
      query += percentEncode(item.name, queryItemBytes);
      if (item.value) query += '=' + percentEncode(*item.value, queryItemBytes);
    }
    url.queryBegin_ = url.text_.size();
    url.text_ += '?';
    url.text_ += query;
    url.query_ = std::move(query);
  }
  if (fragmentBegin_ != std::string::npos) {
    url.fragmentBegin_ = url.text_.size();
    url.text_.append(text_, fragmentBegin_);
  }
  return url;
}

}  // namespace trovix::platform
