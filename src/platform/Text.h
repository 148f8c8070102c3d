#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Text in UTF-8 and its base64 and date forms. Free of state, any thread.
namespace trovix::platform {

using Bytes = std::span<const std::uint8_t>;
/// The text's own bytes, not a copy; and the other way round.
[[nodiscard]] inline Bytes bytesOf(std::string_view text) noexcept {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
[[nodiscard]] inline std::string_view textOf(Bytes bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

[[nodiscard]] bool isValidUtf8(std::string_view text) noexcept;
/// Length in UTF-16 units, the length that the rules count. Ill-formed bytes count one each.
[[nodiscard]] std::size_t utf16Length(std::string_view text) noexcept;
/// Byte offset of the given UTF-16 unit (never inside a code point, never past the end).
[[nodiscard]] std::size_t utf8OffsetOfUtf16Unit(std::string_view text, std::size_t unit) noexcept;
/// The text in UTF-16; ill-formed bytes become U+FFFD.
[[nodiscard]] std::u16string utf16(std::string_view text);
/// Ill-formed bytes become U+FFFD.
[[nodiscard]] std::string repairedUtf8(std::string_view text);

[[nodiscard]] std::string base64(std::string_view bytes);
/// False when the text is not base64.
[[nodiscard]] bool base64Decode(std::string_view text, std::string& bytes);

/// Broken-down local time of a moment; years outside 0 to 9999 and what is no number are clamped.
struct CalendarTime {
  int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
};
[[nodiscard]] CalendarTime calendarTime(double secondsSince1970, std::int32_t secondsFromGMT) noexcept;

}  // namespace trovix::platform
