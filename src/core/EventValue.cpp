#include "core/EventValue.h"

#include <string_view>

#include "common/Encoding.h"
#include "platform/Json.h"

namespace trovix {
namespace {

std::string escapedValue(std::string_view json) {
  const std::string escaped = TXSDKPercentEscapes(json);
  std::string text;
  text.reserve(escaped.size() + escaped.size() / 8);
  for (const char c : escaped) {
    if (c == ',') {
      text += "%2C";
    } else {
      text.push_back(c);
    }
  }
  return text;
}

}  // namespace

std::string encodedEventValue(const std::optional<Dictionary>& values, bool isInAppEvent) {
  if (!values) return isInAppEvent ? escapedValue("null") : "";
  const auto json = platform::writeJson(*values);
  return json ? escapedValue(*json) : "";
}

}  // namespace trovix
