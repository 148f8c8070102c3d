#include "core/LinkText.h"

#include <algorithm>

#include "platform/Regex.h"

namespace trovix {
namespace {

std::string without(std::string_view text, std::string_view removed) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t position; (position = text.find(removed)) != std::string_view::npos;) {
    result.append(text.substr(0, position));
    text.remove_prefix(position + removed.size());
  }
  return result.append(text);
}

}  // namespace

std::string linkWithoutAccessTokens(std::string link) {
  static const platform::Regex pattern(R"(fb\d*?://authorize.*access_token=([^&]*))");
  const auto tokens = pattern.firstGroups(link);
  for (auto token = tokens.rbegin(); token != tokens.rend(); ++token) {
    link.erase(token->first, token->second - token->first);
  }
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
