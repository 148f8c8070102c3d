#include "core/LinkText.h"

#include <algorithm>
#include <functional>
#include <optional>

#include "platform/Regex.h"

namespace trovix {
namespace {

constexpr std::string_view tokenIntroduction = "access_token=";

std::string without(std::string_view text, std::string_view removed) {
  const std::boyer_moore_horspool_searcher searcher(removed.begin(), removed.end());
  std::string result;
  result.reserve(text.size());
  const char* rest = text.data();
  const char* const end = rest + text.size();
  for (;;) {
    const char* const found = std::search(rest, end, searcher);
    if (found == end) break;
    result.append(rest, found);
    rest = found + removed.size();
  }
  result.append(rest, end);
  return result;
}

/// Where the text behind the last introduction in the line begins.
std::optional<std::size_t> tokenOf(std::string_view line) {
  const std::boyer_moore_horspool_searcher searcher(tokenIntroduction.rbegin(), tokenIntroduction.rend());
  const auto found = std::search(line.rbegin(), line.rend(), searcher);
  if (found == line.rend()) return std::nullopt;
  return static_cast<std::size_t>(found.base() - line.begin());
}

}  // namespace

std::string linkWithoutAccessTokens(std::string link) {
  // Never destroyed: links may still be told about while the process ends.
  static const platform::Regex& pattern = *new platform::Regex(R"(fb\d*?://authorize)");
  std::string stripped;
  std::size_t kept = 0;
  std::size_t from = 0;
  while (const auto match = pattern.find(link, from)) {
    // The token follows the last introduction in the line, and may go on in the next.
    const auto authorized = static_cast<std::size_t>(match->data() + match->size() - link.data());
    const std::size_t lineEnd = std::min(link.find('\n', authorized), link.size());
    const auto token = tokenOf(std::string_view(link).substr(authorized, lineEnd - authorized));
    from = lineEnd;
    if (!token) continue;
    stripped.append(link, kept, authorized + *token - kept);
    kept = from = std::min(link.find('&', authorized + *token), link.size());
  }
  link.erase(0, kept).insert(0, stripped);
  for (const char* introduction : {"access_token=&", "&access_token=", "access_token="}) {
    link = without(link, introduction);
  }
  return link;
}

const std::string* matchingDomain(std::string_view link, const std::vector<std::string>& domains) {
  // An empty entry would match every link.
  const auto found = std::find_if(domains.begin(), domains.end(), [link](const std::string& domain) {
    return !domain.empty() && link.find("://" + domain) != std::string_view::npos;
  });
  return found == domains.end() ? nullptr : &*found;
}

}  // namespace trovix
