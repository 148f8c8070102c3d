#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trovix::platform {

struct QueryItem {
  std::string name;                  // decoded
  std::optional<std::string> value;  // decoded; nothing for an item without "="
};

/// A parsed URL with a scheme. Immutable. Every operation is linear in its length.
class Url {
 public:
  /// Nothing when the text is not a URL with a scheme.
  [[nodiscard]] static std::optional<Url> parse(std::string_view text);

  [[nodiscard]] const std::string& absoluteString() const noexcept { return text_; }
  [[nodiscard]] const std::string& scheme() const noexcept { return scheme_; }
  /// Decoded, an IPv6 address without its brackets; nothing when there is no authority or it is empty.
  [[nodiscard]] const std::optional<std::string>& host() const noexcept { return host_; }
  /// Decoded, without a trailing slash unless it is the root; empty when there is none.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  /// "/" first when the path is absolute, then each decoded name.
  [[nodiscard]] std::vector<std::string> pathComponents() const;
  /// As it stands in the text, without "?"; nothing when there is none.
  [[nodiscard]] const std::optional<std::string>& query() const noexcept { return query_; }
  [[nodiscard]] std::vector<QueryItem> queryItems() const;
  /// The same one after another, without a list of them.
  void visitQueryItems(const std::function<void(QueryItem)>& visit) const;
  /// The same URL with this query: names and values are percent-encoded as query items are; no items, no "?".
  [[nodiscard]] Url withQueryItems(const std::vector<QueryItem>& items) const;

 private:
  std::string text_;
  std::string scheme_;
  std::optional<std::string> host_;
  std::string path_;
  std::string encodedPath_;
  std::optional<std::string> query_;
  std::size_t queryBegin_ = std::string::npos;  // position of "?" in text_
  std::size_t fragmentBegin_ = std::string::npos;
};

/// Percent-decodes; a "%" that starts no escape stays.
[[nodiscard]] std::string percentDecode(std::string_view text);

/// The bytes that percent-encoding leaves alone.
struct AllowedBytes {
  bool of[256] = {};
};
/// The ASCII letters and digits, and this punctuation.
[[nodiscard]] constexpr AllowedBytes allowedBytes(std::string_view punctuation) noexcept {
  AllowedBytes allowed;
  for (int c = 'a'; c <= 'z'; ++c) allowed.of[c] = true;
  for (int c = 'A'; c <= 'Z'; ++c) allowed.of[c] = true;
  for (int c = '0'; c <= '9'; ++c) allowed.of[c] = true;
  for (const char c : punctuation) allowed.of[static_cast<unsigned char>(c)] = true;
  return allowed;
}
/// Percent-encodes every byte that is not allowed.
[[nodiscard]] std::string percentEncode(std::string_view text, const AllowedBytes& allowed);

}  // namespace trovix::platform
