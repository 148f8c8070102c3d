// A script of the host program is either a list of commands that can run, or a complaint that names its line.
#include "fuzz/Support.h"
#include "host/Script.h"

namespace {

using namespace trovix;
using fuzz::require;

void checkLine(const host::Line& line) {
  require(line.command != nullptr && line.arguments.size() == line.command->arguments.size());
  for (std::size_t i = 0; i < line.arguments.size(); ++i) {
    const host::Argument& declared = line.command->arguments[i];
    const auto& given = line.arguments[i];
    require(given.has_value() || !declared.required);
    if (!given) continue;
    if (declared.kind == host::ArgumentKind::number) require(std::isfinite(given->doubleValue()));
    if (declared.kind == host::ArgumentKind::word)
      require(given->string()->find_first_of(" \t\r") == std::string::npos);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const host::ParsedScript script = host::parseScript(text);

  // Line by line it says the same.
  std::size_t commands = 0;
  fuzz::Input input(bytes, size);
  for (std::size_t number = 1; !input.rest().empty(); ++number) {
    const host::ParsedLine parsed = host::parseLine(input.line());
    if (const auto* why = std::get_if<std::string>(&parsed)) {
      require(std::get<std::string>(script) == "line " + std::to_string(number) + ": " + *why);
      return 0;
    }
    if (std::holds_alternative<host::Line>(parsed)) ++commands;
  }
  const auto& lines = std::get<std::vector<host::Line>>(script);
  require(lines.size() == commands);
  for (const host::Line& line : lines) checkLine(line);
  return 0;
}
