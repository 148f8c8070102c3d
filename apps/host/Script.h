#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "trovix/Value.h"

namespace trovix::host {

class Session;

/// What stands behind a command's name.
enum class ArgumentKind : std::uint8_t {
  word,    // up to the next blank
  name,    // a word, or a JSON string when it has blanks
  json,    // a JSON value, to the end of the line
  number,  // seconds or another number
};

struct Argument {
  ArgumentKind kind = ArgumentKind::word;
  bool required = true;
  /// For help.
  const char* label = "";
};

/// The arguments of one line, in the order of the command's; what was left out is missing.
using Arguments = std::vector<std::optional<Value>>;

struct Command {
  const char* name = "";
  const char* help = "";
  std::vector<Argument> arguments;
  /// Further checks before anything runs: the complaint, or nothing.
  std::function<std::optional<std::string>(const Arguments&)> check;
  std::function<void(Session&, const Arguments&)> run;
};

/// All commands, in the order of their help.
[[nodiscard]] const std::vector<Command>& commands();
[[nodiscard]] const Command* findCommand(std::string_view name);

/// One checked line.
struct Line {
  const Command* command = nullptr;
  Arguments arguments;
};

/// A line that can run, nothing for a blank line or a comment, or the complaint about it.
using ParsedLine = std::variant<std::monostate, Line, std::string>;
[[nodiscard]] ParsedLine parseLine(std::string_view text);

/// Every line of a script, or the first complaint with its line number.
using ParsedScript = std::variant<std::vector<Line>, std::string>;
[[nodiscard]] ParsedScript parseScript(std::string_view text);

}  // namespace trovix::host
