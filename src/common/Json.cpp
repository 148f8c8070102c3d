#include "platform/Json.h"
#include "trovix/Json.h"

namespace trovix {

std::optional<std::string> jsonText(const Dictionary& dictionary) {
  auto text = platform::writeJson(dictionary);
  if (!text) return std::nullopt;
  return std::move(text).value();
}

std::optional<Dictionary> dictionaryFromJson(std::string_view text) {
  auto parsed = platform::parseJson(text);
  if (!parsed) return std::nullopt;
  Dictionary* dictionary = parsed->dictionary();
  if (dictionary == nullptr) return std::nullopt;
  return std::move(*dictionary);
}

}  // namespace trovix
