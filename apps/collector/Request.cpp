#include "collector/Request.h"

#include <algorithm>

namespace trovix::collector {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char letter = lower(c);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

std::string decoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
    if (low < 0) {
      result += text[i];
      continue;
    }
    result += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return result;
}

std::string hostWithoutPort(std::string_view authority) {
  const std::size_t bracket = authority.find(']');  // an IPv6 address has colons of its own
  const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
  std::string host(authority.substr(0, colon));
  std::ranges::transform(host, host.begin(), lower);
  return host;
}

}  // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b) { return std::ranges::equal(a, b, {}, lower, lower); }

const std::string* findHeader(const Headers& headers, std::string_view name) {
  for (const auto& [key, value] : headers)
    if (equalIgnoringCase(key, name)) return &value;
  return nullptr;
}

std::optional<std::string> Address::item(std::string_view name) const {
  const auto found = std::find_if(query.rbegin(), query.rend(), [&](const auto& entry) { return entry.first == name; });
  return found != query.rend() ? std::optional(found->second) : std::nullopt;
}

Address addressOf(const Request& request) {
  Address address;
  const std::string* authority = findHeader(request.headers, "Host");
  if (authority != nullptr) address.host = hostWithoutPort(*authority);
  address.url = (request.secure ? "https://" : "http://") + (authority != nullptr ? *authority : "") + request.target;
  const std::string_view target = request.target;
  const std::size_t mark = target.find('?');
  address.path = target.substr(0, mark);
  if (mark == std::string_view::npos) return address;
  for (std::string_view rest = target.substr(mark + 1); !rest.empty();) {
    const std::string_view item = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(rest.size(), item.size() + 1));
    if (item.empty()) continue;
    const std::size_t equals = item.find('=');
    address.query.emplace_back(decoded(item.substr(0, equals)),
                               equals == std::string_view::npos ? "" : decoded(item.substr(equals + 1)));
  }
  return address;
}

}  // namespace trovix::collector
