#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/Url.h"

namespace trovix::platform {
namespace {

int hexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string percentDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t escape; (escape = text.find('%')) != std::string_view::npos;) {
    const bool isWhole = text.size() - escape > 2;
    const int high = isWhole ? hexValue(text[escape + 1]) : -1;
    const int low = isWhole ? hexValue(text[escape + 2]) : -1;
    const bool isEscape = high >= 0 && low >= 0;
    decoded.append(text, 0, escape);
    decoded += isEscape ? static_cast<char>(high * 16 + low) : '%';
    text.remove_prefix(escape + (isEscape ? 3 : 1));
  }
  decoded.append(text);
  return decoded;
}

std::string percentEncode(std::string_view text, const AllowedBytes& allowed) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const auto isAllowed = [&](char c) { return allowed.of[static_cast<std::uint8_t>(c)]; };
  const auto kept = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isAllowed));
  std::string encoded(kept + 3 * (text.size() - kept), '%');
  auto out = encoded.begin();
  for (const char c : text) {
    if (isAllowed(c)) {
      *out++ = c;
      continue;
    }
    const auto byte = static_cast<std::uint8_t>(c);
    out[1] = digits[byte >> 4];
    out[2] = digits[byte & 15];
    out += 3;
  }
  return encoded;
}

}  // namespace trovix::platform
