#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/PushLinks.h"
#include "device/TrovixUtils.h"
#include "platform/Json.h"

namespace {

/// Search paths may come with the input: {"paths": [["key", ...], ...]}.
trovix::PushLinkPaths::Paths pathsIn(const trovix::Dictionary& payload) {
  trovix::PushLinkPaths paths;
  paths.addPushNotificationDeepLinkPath(std::vector<std::string>{"data", "url"});
  if (const trovix::Array* lists = payload.array("paths")) {
    for (const trovix::Value& list : *lists) {
      if (list.array() == nullptr) continue;
      std::vector<std::string> keys;
      for (const trovix::Value& key : *list.array()) keys.push_back(trovix::description(key));
      paths.addPushNotificationDeepLinkPath(std::move(keys));
    }
  }
  return *paths.deepLinkSearchPaths();
}

}  // namespace

/// The search of a push payload: it ends, and a depth more never loses what a depth less finds on the way.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace trovix;
  const auto json = platform::parseJson(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (!json || json->dictionary() == nullptr) return 0;
  const PushLinkPaths::Paths paths = pathsIn(*json->dictionary());
  bool isFound = false;
  for (int depth = 0; depth <= 4; ++depth) {
    const bool isFoundHere = findPushLink(depth, *json->dictionary(), paths).has_value();
    if (isFound && !isFoundHere) __builtin_trap();
    isFound = isFoundHere;
  }
  return 0;
}
