#include "host/Script.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "platform/Json.h"

namespace trovix::host {
namespace {

constexpr std::string_view blanks = " \t\r";
/// Far deeper than the library takes anything, so that its own answer to what is too deep can be seen.
constexpr std::size_t maximumDepth = 2000;

void skipBlanks(std::string_view& text) { text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size())); }

std::string_view takeWord(std::string_view& text) {
  const std::size_t end = std::min(text.find_first_of(blanks), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

/// The length of the JSON string at the start of the text, 0 when it does not end.
std::size_t jsonStringLength(std::string_view text) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return 0;
}

using Taken = std::variant<Value, std::string>;

std::string complaint(std::string text) { return text; }

Taken takeJson(std::string_view text) {
  auto parsed = platform::parseJson(text, true, maximumDepth);
  if (!parsed) return complaint("bad JSON: " + parsed.error().localizedDescription());
  return std::move(parsed).value();
}

Taken takeName(std::string_view& text) {
  if (text.front() != '"') return Value(takeWord(text));
  const std::size_t length = jsonStringLength(text);
  if (length == 0) return complaint("a quoted name has no end");
  Taken name = takeJson(text.substr(0, length));
  text.remove_prefix(length);
  return name;
}

Taken takeNumber(std::string_view& text) {
  const std::string_view word = takeWord(text);
  double number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size() || !std::isfinite(number)) {
    return complaint("not a number: " + std::string(word));
  }
  return Value(number);
}

Taken take(ArgumentKind kind, std::string_view& text) {
  switch (kind) {
    case ArgumentKind::word:
      return Value(takeWord(text));
    case ArgumentKind::name:
      return takeName(text);
    case ArgumentKind::number:
      return takeNumber(text);
    case ArgumentKind::json: {
      Taken value = takeJson(text);
      text = {};
      return value;
    }
  }
  return complaint("unknown kind of argument");
}

}  // namespace

const Command* findCommand(std::string_view name) {
  const auto& all = commands();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Command& command) { return command.name == name; });
  return found == all.end() ? nullptr : &*found;
}

ParsedLine parseLine(std::string_view text) {
  skipBlanks(text);
  text = text.substr(0, text.find_last_not_of(blanks) + 1);
  if (text.empty() || text.front() == '#') return std::monostate{};

  const std::string_view name = takeWord(text);
  Line line;
  line.command = findCommand(name);
  if (line.command == nullptr) return "unknown command: " + std::string(name);
  for (const Argument& argument : line.command->arguments) {
    skipBlanks(text);
    if (text.empty()) {
      if (argument.required) return std::string(name) + ": missing argument " + argument.label;
      line.arguments.emplace_back();
      continue;
    }
    Taken taken = take(argument.kind, text);
    if (auto* why = std::get_if<std::string>(&taken)) return std::string(name) + ": " + *why;
    line.arguments.emplace_back(std::get<Value>(std::move(taken)));
  }
  skipBlanks(text);
  if (!text.empty()) return std::string(name) + ": too many arguments: " + std::string(text);
  if (line.command->check) {
    if (auto why = line.command->check(line.arguments)) return std::string(name) + ": " + *why;
  }
  return line;
}

ParsedScript parseScript(std::string_view text) {
  std::vector<Line> lines;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    ParsedLine parsed = parseLine(text.substr(0, end));
    if (auto* why = std::get_if<std::string>(&parsed)) return "line " + std::to_string(number) + ": " + *why;
    if (auto* line = std::get_if<Line>(&parsed)) lines.push_back(std::move(*line));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

}  // namespace trovix::host
