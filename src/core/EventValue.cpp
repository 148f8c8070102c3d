#include "core/EventValue.h"

#include <string_view>

#include "platform/Json.h"
#include "platform/Url.h"

namespace trovix {
namespace {

// What a URL query may hold, but for commas.
constexpr platform::AllowedBytes valueBytes = platform::allowedBytes("-._~!$&'()*+;=:@/?");

std::string escapedValue(std::string_view json) { return platform::percentEncode(json, valueBytes); }

}  // namespace

std::string encodedEventValue(const std::optional<Dictionary>& values, bool isInAppEvent) {
  if (!values) return isInAppEvent ? escapedValue("null") : "";
  const auto json = platform::writeJson(*values);
  return json ? escapedValue(*json) : "";
}

}  // namespace trovix
