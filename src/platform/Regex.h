#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
  /// Byte range [begin, end) of the first group in every match, in order.
  [[nodiscard]] std::vector<std::pair<std::size_t, std::size_t>> firstGroups(std::string_view text) const;

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace trovix::platform
