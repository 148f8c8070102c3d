#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace trovix::platform {

/// A compiled regular expression that matches in linear time. Any thread.
class Regex {
 public:
  /// The pattern is the library's own and must compile. Text is UTF-8; ill-formed bytes match nothing.
  explicit Regex(std::string_view pattern);
  ~Regex();
  Regex(const Regex&) = delete;
  Regex& operator=(const Regex&) = delete;

  [[nodiscard]] bool matches(std::string_view text) const;
  /// The leftmost match that begins at `from` or behind it. Groups are not told: finding them takes ten times as long.
  [[nodiscard]] std::optional<std::string_view> find(std::string_view text, std::size_t from) const;

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace trovix::platform
