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

std::optional<std::string_view> Regex::find(std::string_view text, std::size_t from) const {
  re2::StringPiece found;
  const re2::StringPiece whole(text.data(), text.size());
  if (!compiled_->pattern.Match(whole, from, text.size(), re2::RE2::UNANCHORED, &found, 1)) return std::nullopt;
  return std::string_view(found.data(), found.size());
}

}  // namespace trovix::platform
