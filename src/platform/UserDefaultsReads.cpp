#include "trovix/platform/UserDefaults.h"

namespace trovix::platform {

std::optional<std::string> UserDefaults::string(std::string_view key) const {
  const auto value = object(key);
  if (value == nullptr) return std::nullopt;
  if (const std::string* text = value->string()) return *text;
  if (value->isNumber()) return description(*value);
  return std::nullopt;
}

double UserDefaults::real(std::string_view key) const {
  const auto value = object(key);
  return value == nullptr ? 0 : value->doubleValue();
}

std::int64_t UserDefaults::integer(std::string_view key) const {
  const auto value = object(key);
  return value == nullptr ? 0 : value->integerValue();
}

bool UserDefaults::boolean(std::string_view key) const {
  const auto value = object(key);
  return value != nullptr && value->boolValue();
}

std::optional<Dictionary> UserDefaults::dictionary(std::string_view key) const {
  const auto value = object(key);
  const Dictionary* dictionary = value == nullptr ? nullptr : value->dictionary();
  if (dictionary == nullptr) return std::nullopt;
  return *dictionary;
}

}  // namespace trovix::platform
