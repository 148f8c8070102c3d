#include "platform/Regex.h"

#include <re2/re2.h>

namespace trovix::platform {

struct Regex::Compiled {
  re2::RE2 pattern;
};

Regex::Regex(std::string_view pattern)
    : compiled_(new Compiled{re2::RE2(re2::StringPiece(pattern.data(), pattern.size()), re2::RE2::Quiet)}) {}

Regex::~Regex() = default;

bool Regex::matches(std::string_view text) const {
  return re2::RE2::PartialMatch(re2::StringPiece(text.data(), text.size()), compiled_->pattern);
}

std::vector<std::pair<std::size_t, std::size_t>> Regex::firstGroups(std::string_view text) const {
  std::vector<std::pair<std::size_t, std::size_t>> groups;
  const re2::StringPiece whole(text.data(), text.size());
  re2::StringPiece found[2];
  for (std::size_t from = 0; from <= text.size();) {
    if (!compiled_->pattern.Match(whole, from, text.size(), re2::RE2::UNANCHORED, found, 2)) break;
    const auto offsetOf = [&](const char* position) { return static_cast<std::size_t>(position - text.data()); };
    if (found[1].data() != nullptr) {
      groups.emplace_back(offsetOf(found[1].data()), offsetOf(found[1].data() + found[1].size()));
    }
    const std::size_t end = offsetOf(found[0].data() + found[0].size());
    // An empty match would be found again at the same place.
    from = found[0].empty() ? end + 1 : end;
  }
  return groups;
}

}  // namespace trovix::platform
