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
  std::string encoded;
  encoded.reserve(text.size() + text.size() / 4);
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (allowed.of[byte]) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += digits[byte >> 4];
      encoded += digits[byte & 15];
    }
  }
  return encoded;
}

}  // namespace trovix::platform
