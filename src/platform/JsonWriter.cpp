#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "platform/Json.h"
#include "platform/Text.h"

namespace trovix::platform {
namespace {

void appendEscape(std::string& out, char c) {
  constexpr std::string_view digits = "0123456789abcdef";
  out += '\\';
  switch (c) {
    case '"':
    case '\\':
      out += c;
      return;
    case '\n':
      out += 'n';
      return;
    case '\r':
      out += 'r';
      return;
    case '\t':
      out += 't';
      return;
    case '\b':
      out += 'b';
      return;
    case '\f':
      out += 'f';
      return;
    default:
      out += "u00";
      out += digits[static_cast<unsigned char>(c) >> 4];
      out += digits[static_cast<unsigned char>(c) & 15];
  }
}

void appendWellFormed(std::string& out, std::string_view text) {
  out += '"';
  std::size_t written = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\') continue;
    out.append(text, written, i - written);
    appendEscape(out, c);
    written = i + 1;
  }
  out.append(text, written);
  out += '"';
}

// Text that stands as it is: ASCII without control characters, quotes and backslashes.
constexpr std::array<bool, 256> isPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t c = 0x20; c < 0x80; ++c) plain[c] = c != '"' && c != '\\';
  return plain;
}();

void appendText(std::string& out, std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return isPlain[static_cast<unsigned char>(c)]; })) {
    out += '"';
    out += text;
    out += '"';
  } else if (isValidUtf8(text)) {
    appendWellFormed(out, text);
  } else {
    appendWellFormed(out, repairedUtf8(text));
  }
}

void appendInteger(std::string& out, std::int64_t integer) {
  char buffer[32];
  out.append(buffer, std::to_chars(std::begin(buffer), std::end(buffer), integer).ptr);
}

// A million reads as 1000000 and not as 1e+06; only what lies far from 1 has an exponent.
void appendReal(std::string& out, double real) {
  char buffer[32];
  const double size = std::fabs(real);
  const bool isFarFromOne = size != 0 && (size < 1e-6 || size >= 1e21);
  const auto form = isFarFromOne ? std::chars_format::scientific : std::chars_format::fixed;
  out.append(buffer, std::to_chars(std::begin(buffer), std::end(buffer), real, form).ptr);
}

bool appendValue(std::string& out, const Value& value, std::size_t depth);

bool appendDictionary(std::string& out, const Dictionary& dictionary, std::size_t depth) {
  if (depth == 0) return false;
  char separator = '{';
  for (const auto& [key, value] : dictionary) {
    out += separator;
    appendText(out, key);
    out += ':';
    if (!appendValue(out, value, depth - 1)) return false;
    separator = ',';
  }
  out += dictionary.empty() ? "{}" : "}";
  return true;
}

bool appendArray(std::string& out, const Array& array, std::size_t depth) {
  if (depth == 0) return false;
  char separator = '[';
  for (const Value& value : array) {
    out += separator;
    if (!appendValue(out, value, depth - 1)) return false;
    separator = ',';
  }
  out += array.empty() ? "[]" : "]";
  return true;
}

bool appendValue(std::string& out, const Value& value, std::size_t depth) {
  switch (value.kind()) {
    case Value::Kind::null:
      out += "null";
      return true;
    case Value::Kind::boolean:
      out += *value.boolean() ? "true" : "false";
      return true;
    case Value::Kind::integer:
      appendInteger(out, value.integerValue());
      return true;
    case Value::Kind::real:
      if (!std::isfinite(value.doubleValue())) return false;
      appendReal(out, value.doubleValue());
      return true;
    case Value::Kind::string:
      appendText(out, *value.string());
      return true;
    case Value::Kind::array:
      return appendArray(out, *value.array(), depth);
    case Value::Kind::dictionary:
      return appendDictionary(out, *value.dictionary(), depth);
    case Value::Kind::data:
    case Value::Kind::date:
      return false;
  }
  return false;
}

bool isWritable(const Value& value, std::size_t depth) noexcept;

bool isWritable(const Dictionary& dictionary, std::size_t depth) noexcept {
  if (depth == 0) return false;
  for (const auto& entry : dictionary) {
    if (!isWritable(entry.second, depth - 1)) return false;
  }
  return true;
}

bool isWritable(const Value& value, std::size_t depth) noexcept {
  if (const Dictionary* dictionary = value.dictionary()) return isWritable(*dictionary, depth);
  if (const Array* array = value.array()) {
    if (depth == 0) return false;
    for (const Value& element : *array) {
      if (!isWritable(element, depth - 1)) return false;
    }
    return true;
  }
  if (value.kind() == Value::Kind::real) return std::isfinite(value.doubleValue());
  return value.data() == nullptr && value.date() == nullptr;
}

Error writeError() {
  return {jsonErrorDomain, jsonCorruptCode, {{Error::localizedDescriptionKey, "Invalid type in JSON write"}}};
}

}  // namespace

bool isValidJsonObject(const Dictionary& dictionary, std::size_t depth) noexcept {
  return isWritable(dictionary, depth);
}

bool isValidJsonObject(const Value& value) noexcept {
  return (value.dictionary() != nullptr || value.array() != nullptr) && isWritable(value, maximumJsonDepth);
}

Result<std::string> writeJson(const Dictionary& dictionary, std::size_t depth) {
  std::string text;
  if (!appendDictionary(text, dictionary, depth)) return writeError();
  return text;
}

Result<std::string> writeJson(const Value& value) {
  if (const Dictionary* dictionary = value.dictionary()) return writeJson(*dictionary);
  std::string text;
  if (value.array() == nullptr || !appendArray(text, *value.array(), maximumJsonDepth)) return writeError();
  return text;
}

}  // namespace trovix::platform
