#include "platform/Url.h"

#include <boost/url/src.hpp>

namespace trovix::platform {
namespace {

struct AllowedBytes {
  bool of[256] = {};
};

// What a name or a value of a query item keeps: the characters of a query but its own two separators.
constexpr AllowedBytes kQueryItemBytes = [] {
  AllowedBytes allowed;
  for (int c = 'a'; c <= 'z'; ++c) allowed.of[c] = true;
  for (int c = 'A'; c <= 'Z'; ++c) allowed.of[c] = true;
  for (int c = '0'; c <= '9'; ++c) allowed.of[c] = true;
  for (const char c : std::string_view("-._~!$'()*+,;:@/?")) allowed.of[static_cast<unsigned char>(c)] = true;
  return allowed;
}();

std::string standardText(boost::core::string_view view) { return {view.data(), view.size()}; }

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

// What may stand in a URL at all. The parser counts on it in the parts that it has read when it meets something else.
constexpr AllowedBytes kUrlBytes = [] {
  AllowedBytes allowed = kQueryItemBytes;
  for (const char c : std::string_view("%#&=")) allowed.of[static_cast<unsigned char>(c)] = true;
  return allowed;
}();

/// Whether the text holds only what a URL may hold; brackets belong to the host alone.
bool isMadeOfUrlBytes(std::string_view text) noexcept {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const bool hasHost = text.substr(colon).starts_with("://");
  const std::size_t hostEnd = hasHost ? std::min(text.find_first_of("/?#", colon + 3), text.size()) : 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool isBracket = c == '[' || c == ']';
    if (isBracket ? i >= hostEnd : !kUrlBytes.of[static_cast<unsigned char>(c)]) return false;
    if (c == '%' && (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))) return false;
  }
  return true;
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (text.empty() || !isMadeOfUrlBytes(text)) return std::nullopt;
  const auto parsed = boost::urls::parse_uri(boost::core::string_view(text.data(), text.size()));
  if (!parsed) return std::nullopt;
  const boost::urls::url_view& view = *parsed;
  // The parser takes what follows a broken port or address for a path ("http://host:x").
  if (view.has_authority() && !view.encoded_path().empty() && view.encoded_path().front() != '/') return std::nullopt;

  Url url;
  url.text_ = text;
  url.scheme_ = standardText(view.scheme());
  const std::string host = standardText(view.encoded_host());
  if (!host.empty()) url.host_ = percentDecode(withoutBrackets(host));
  url.encodedPath_ = standardText(view.encoded_path());
  std::string_view shown = url.encodedPath_;
  if (shown.size() > 1 && shown.ends_with('/')) shown.remove_suffix(1);
  url.path_ = percentDecode(shown);
  url.fragmentBegin_ = url.text_.find('#');
  const std::size_t question = url.text_.find('?');
  if (question < url.fragmentBegin_) {
    url.queryBegin_ = question;
    const std::size_t end = std::min(url.fragmentBegin_, url.text_.size());
    url.query_ = url.text_.substr(question + 1, end - question - 1);
  }
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
  if (!query_ || query_->empty()) return items;
  split(*query_, '&', [&](std::string_view item) {
    const std::size_t equals = item.find('=');
    QueryItem& decoded = items.emplace_back();
    decoded.name = percentDecode(item.substr(0, equals));
    if (equals != std::string_view::npos) decoded.value = percentDecode(item.substr(equals + 1));
  });
  return items;
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
      query += percentEncode(item.name, kQueryItemBytes.of);
      if (item.value) query += '=' + percentEncode(*item.value, kQueryItemBytes.of);
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
