#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/Script.h"

// How commands declare and read their arguments.
namespace trovix::host {

using Kind = ArgumentKind;

/// Commands about links, and commands about revenue and push notifications.
[[nodiscard]] std::vector<Command> linkCommands();
[[nodiscard]] std::vector<Command> revenueCommands();

[[nodiscard]] inline std::string textOf(const std::optional<Value>& value) {
  return value ? description(*value) : std::string();
}

[[nodiscard]] inline double numberOr(const std::optional<Value>& value, double fallback) {
  return value ? value->doubleValue() : fallback;
}

[[nodiscard]] inline Dictionary dictionaryOf(const std::optional<Value>& value) {
  return value && value->dictionary() != nullptr ? *value->dictionary() : Dictionary();
}

/// Missing and null are nil.
[[nodiscard]] inline std::optional<Dictionary> optionalDictionary(const std::optional<Value>& value) {
  if (!value || value->isNull()) return std::nullopt;
  return dictionaryOf(value);
}

[[nodiscard]] inline std::optional<std::string> optionalText(const std::optional<Value>& value) {
  if (!value || value->isNull()) return std::nullopt;
  return description(*value);
}

/// The text under a key; missing and null are nil.
[[nodiscard]] inline std::optional<std::string> textAt(const Dictionary& fields, const char* key) {
  const Value* value = fields.find(key);
  return value != nullptr ? optionalText(*value) : std::nullopt;
}

[[nodiscard]] inline std::optional<Dictionary> dictionaryAt(const Dictionary& fields, const char* key) {
  const Dictionary* value = fields.dictionary(key);
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

/// Complains when that argument is there and is no object.
[[nodiscard]] inline auto objectAt(std::size_t index) {
  return [index](const Arguments& arguments) -> std::optional<std::string> {
    const auto& argument = arguments[index];
    if (argument && argument->dictionary() == nullptr && !argument->isNull()) return "the JSON must be an object";
    return std::nullopt;
  };
}

}  // namespace trovix::host
