#include "core/LinkText.h"

#include <algorithm>

#include "platform/Regex.h"

namespace trovix {
namespace {

constexpr std::string_view kIntroduction = "access_token=";

std::string without(std::string_view text, std::string_view removed) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t position; (position = text.find(removed)) != std::string_view::npos;) {
    result.append(text.substr(0, position));
    text.remove_prefix(position + removed.size());
  }
  result.append(text);
  return result;
}

}  // namespace

std::string linkWithoutAccessTokens(std::string link) {
  // Never destroyed: links may still be told about while the process ends.
  static const platform::Regex& pattern = *new platform::Regex(R"(fb\d*?://authorize.*access_token=([^&]*))");
  std::string stripped;
  std::size_t kept = 0;
  // Where no introduction follows, nothing matches any more.
  while (link.find(kIntroduction, kept) != std::string::npos) {
    const auto match = pattern.find(link, kept);
    if (!match) break;
    // What stands before the token is one line, as long as may be; the token ends the match.
    const std::string_view line = match->substr(0, match->find('\n'));
    const std::string_view token = match->substr(line.rfind(kIntroduction) + kIntroduction.size());
    const auto begin = static_cast<std::size_t>(token.data() - link.data());
    stripped.append(link, kept, begin - kept);
    kept = begin + token.size();
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
