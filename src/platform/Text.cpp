#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>

#include "trovix/Value.h"

namespace trovix::platform {
namespace {

std::uint8_t byteAt(std::string_view text, std::size_t position) noexcept {
  return static_cast<std::uint8_t>(text[position]);
}

bool isContinuation(std::string_view text, std::size_t position) noexcept {
  return position < text.size() && (byteAt(text, position) & 0xC0) == 0x80;
}

// Bytes of the well-formed sequence that begins here, 0 when there is none. Overlong forms, surrogates and what
// lies past U+10FFFF show in the second byte.
std::size_t sequenceLength(std::string_view text, std::size_t position) noexcept {
  const std::uint8_t first = byteAt(text, position);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4 || !isContinuation(text, position + 1)) return 0;
  if (first < 0xE0) return 2;
  const std::uint8_t second = byteAt(text, position + 1);
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)) return 0;
  if ((first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) return 0;
  if (!isContinuation(text, position + 2)) return 0;
  if (first < 0xF0) return 3;
  return isContinuation(text, position + 3) ? 4 : 0;
}

// How many bytes at the begin are ASCII, at least in whole words.
std::size_t asciiPrefix(std::string_view text) noexcept {
  std::size_t i = 0;
  for (std::uint64_t word = 0; i + sizeof word <= text.size(); i += sizeof word) {
    std::memcpy(&word, text.data() + i, sizeof word);
    if ((word & 0x8080808080808080) != 0) break;
  }
  return i;
}

constexpr std::string_view base64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> base64Values = [] {
  std::array<std::int8_t, 256> values{};
  for (auto& value : values) value = -1;
  for (std::size_t i = 0; i < base64Digits.size(); ++i) {
    values[static_cast<std::uint8_t>(base64Digits[i])] = static_cast<std::int8_t>(i);
  }
  return values;
}();

}  // namespace

bool isValidUtf8(std::string_view text) noexcept {
  for (std::size_t i = asciiPrefix(text); i < text.size();) {
    const std::size_t length = sequenceLength(text, i);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

std::size_t utf16Length(std::string_view text) noexcept {
  std::size_t units = 0;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = sequenceLength(text, i);
    units += length == 4 ? 2 : 1;
    i += length == 0 ? 1 : length;
  }
  return units;
}

std::size_t utf8OffsetOfUtf16Unit(std::string_view text, std::size_t unit) noexcept {
  std::size_t units = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t length = sequenceLength(text, i);
    units += length == 4 ? 2 : 1;
    if (units > unit) break;
    i += length == 0 ? 1 : length;
  }
  return i;
}

std::u16string utf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = sequenceLength(text, i);
    char32_t point = length == 1 ? byteAt(text, i) : byteAt(text, i) & (0x7F >> length);
    for (std::size_t k = 1; k < length; ++k) point = point << 6 | (byteAt(text, i + k) & 0x3FU);
    if (length == 0) {
      units += u'\uFFFD';
    } else if (length == 4) {
      point -= 0x10000;
      units += static_cast<char16_t>(0xD800 + (point >> 10));
      units += static_cast<char16_t>(0xDC00 + (point & 0x3FF));
    } else {
      units += static_cast<char16_t>(point);
    }
    i += length == 0 ? 1 : length;
  }
  return units;
}

std::string repairedUtf8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = sequenceLength(text, i);
    repaired += length == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(i, length);
    i += length == 0 ? 1 : length;
  }
  return repaired;
}

std::string base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? byteAt(bytes, i + k) : 0U);
    for (std::size_t k = 0; k < 4; ++k) text += k <= count ? base64Digits[group >> (18 - 6 * k) & 63] : '=';
  }
  return text;
}

bool base64Decode(std::string_view text, std::string& bytes) {
  bytes.clear();
  if (text.size() % 4 != 0) return false;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t pending = 0;
  unsigned bits = 0;
  for (const char c : text.substr(0, text.size() - padding)) {
    const std::int8_t value = base64Values[static_cast<std::uint8_t>(c)];
    if (value < 0) {
      bytes.clear();
      return false;
    }
    pending = (pending << 6 | static_cast<std::uint32_t>(value)) & 0xFFFFFF;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>(pending >> bits & 0xFF);
    }
  }
  return true;
}

CalendarTime calendarTime(double secondsSince1970, std::int32_t secondsFromGMT) noexcept {
  namespace chrono = std::chrono;
  using chrono::milliseconds;
  constexpr chrono::sys_time<milliseconds> first = chrono::sys_days{chrono::year{0} / chrono::January / 1};
  constexpr chrono::sys_time<milliseconds> last =
      chrono::sys_days{chrono::year{10000} / chrono::January / 1} - milliseconds{1};
  // Rounded by the product first: 0.3 s in a large sum must not read as 299 ms.
  const milliseconds since1970(saturatingInteger(std::floor(secondsSince1970 * 1000.0) + secondsFromGMT * 1000.0));
  const chrono::sys_time<milliseconds> moment = std::clamp(chrono::sys_time<milliseconds>(since1970), first, last);

  const chrono::sys_days midnight = chrono::floor<chrono::days>(moment);
  const chrono::year_month_day date = midnight;
  const chrono::hh_mm_ss time(moment - midnight);
  return {.year = int{date.year()},
          .month = static_cast<int>(unsigned{date.month()}),
          .day = static_cast<int>(unsigned{date.day()}),
          .hour = static_cast<int>(time.hours().count()),
          .minute = static_cast<int>(time.minutes().count()),
          .second = static_cast<int>(time.seconds().count()),
          .millisecond = static_cast<int>(time.subseconds().count())};
}

}  // namespace trovix::platform
