#include <fmt/core.h>

#include <iterator>

#include "platform/Text.h"
#include "trovix/Value.h"

namespace trovix {
namespace {

constexpr std::size_t indentationStep = 4;

bool isPlain(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

void appendQuoted(std::string& out, const std::string& text) {
  bool plain = !text.empty();
  for (const char c : text) plain = plain && isPlain(c);
  if (plain) {
    out += text;
    return;
  }
  out += '"';
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else {
      out += c;
    }
  }
  out += '"';
}

void appendScalar(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::null:
      out += "<null>";
      return;
    case Value::Kind::boolean:
    case Value::Kind::integer:
      fmt::format_to(std::back_inserter(out), "{}", value.integerValue());
      return;
    case Value::Kind::real:
      fmt::format_to(std::back_inserter(out), "{}", value.doubleValue());
      return;
    case Value::Kind::string:
      out += *value.string();
      return;
    case Value::Kind::data:
      fmt::format_to(std::back_inserter(out), "{{length = {}, bytes = 0x", value.data()->size());
      for (const std::uint8_t byte : *value.data()) fmt::format_to(std::back_inserter(out), "{:02x}", byte);
      out += '}';
      return;
    case Value::Kind::date: {
      const auto time = platform::calendarTime(value.date()->secondsSince1970, 0);
      fmt::format_to(std::back_inserter(out), "{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", time.year, time.month,
                     time.day, time.hour, time.minute, time.second);
      return;
    }
    case Value::Kind::array:
    case Value::Kind::dictionary:
      return;
  }
}

void appendContainer(std::string& out, const Value& value, std::size_t indentation);

void appendNested(std::string& out, const Value& value, std::size_t indentation) {
  if (value.array() != nullptr || value.dictionary() != nullptr) {
    out.append(indentation, ' ');
    appendContainer(out, value, indentation);
  } else if (value.string() != nullptr) {
    appendQuoted(out, *value.string());
  } else if (value.isNull()) {
    out += "\"<null>\"";
  } else {
    appendScalar(out, value);
  }
}

void appendEntries(std::string& out, const Dictionary& dictionary, std::size_t indentation) {
  out += "{\n";
  for (const auto& [key, value] : dictionary) {
    out.append(indentation + indentationStep, ' ');
    appendQuoted(out, key);
    out += " = ";
    appendNested(out, value, indentation + indentationStep);
    out += ";\n";
  }
  out.append(indentation, ' ');
  out += '}';
}

void appendContainer(std::string& out, const Value& value, std::size_t indentation) {
  if (const Dictionary* dictionary = value.dictionary()) {
    appendEntries(out, *dictionary, indentation);
    return;
  }
  out += "(\n";
  const Array& array = *value.array();
  for (std::size_t i = 0; i < array.size(); ++i) {
    const bool nested = array[i].array() != nullptr || array[i].dictionary() != nullptr;
    if (!nested) out.append(indentation + indentationStep, ' ');
    appendNested(out, array[i], indentation + indentationStep);
    out += i + 1 < array.size() ? ",\n" : "\n";
  }
  out.append(indentation, ' ');
  out += ')';
}

}  // namespace

std::string description(const Value& value) {
  std::string out;
  if (value.array() != nullptr || value.dictionary() != nullptr) {
    appendContainer(out, value, 0);
  } else {
    appendScalar(out, value);
  }
  return out;
}

std::string description(const Dictionary& dictionary) {
  std::string out;
  appendEntries(out, dictionary, 0);
  return out;
}

std::string description(const Value* value) { return value == nullptr ? "(null)" : description(*value); }

}  // namespace trovix
