// A push payload holds a link, information for the next launch, or nothing. The search ends, a link is heard of exactly
// once, and information goes with one launch.
#include "core/LinkText.h"
#include "core/PushLinks.h"
#include "device/TrovixUtils.h"
#include "fuzz/Launch.h"
#include "platform/Url.h"

namespace {

using namespace trovix;
using fuzz::require;

/// Search paths may come with the input: {"paths": [["key", ...], ...]}.
PushLinkPaths::Paths pathsIn(const Dictionary& payload) {
  PushLinkPaths paths;
  paths.addPushNotificationDeepLinkPath(std::vector<std::string>{"data", "url"});
  if (const Array* lists = payload.array("paths")) {
    for (const Value& list : *lists) {
      if (list.array() == nullptr) continue;
      std::vector<std::string> keys;
      for (const Value& key : *list.array()) keys.push_back(description(key));
      paths.addPushNotificationDeepLinkPath(std::move(keys));
    }
  }
  return *paths.deepLinkSearchPaths();
}

/// What the search finds at its full depth. A depth more never loses what a depth less finds on the way.
std::optional<std::string> checkSearch(const Dictionary& payload, const PushLinkPaths::Paths& paths) {
  std::optional<std::string> found;
  for (int depth = 0; depth <= 4; ++depth) {
    auto foundHere = findPushLink(depth, payload, paths);
    require(foundHere || !found);
    found = std::move(foundHere);
  }
  return found;
}

/// Hands the payload over, and answers how often the application hears of a link.
int heardOf(fuzz::Application& application, const Dictionary& payload, const PushLinkPaths::Paths& paths) {
  int heard = 0;
  const auto delegate = std::make_shared<TrovixLibDelegate>();
  delegate->onAppOpenAttribution = [&](const Dictionary& data) {
    // What a link escapes need not be text, so it may not read back.
    require(data.contains("link") && platform::writeJson(data));
    ++heard;
  };
  delegate->onAppOpenAttributionFailure = [&](const Error&) { ++heard; };
  application.sdk.setDelegate(delegate);
  for (const auto& path : paths) application.sdk.addPushNotificationDeepLinkPath(path);
  application.sdk.handlePushNotification(payload);
  application.device.advance(fuzz::longEnough);
  return heard;
}

void checkLinkIn(const Dictionary& launch, const std::string& found, const PushLinkPaths::Paths& paths) {
  const std::string link = linkWithoutAccessTokens(found);
  const auto url = platform::Url::parse(link);
  // Without its secrets it may be a link no longer.
  if (!url) return require(!launch.contains("tx_deeplink"));
  if (!TrovixUtils::queryParametersFromURL(*url).contains("tx_deeplink")) {
    require(*launch.find("tx_deeplink") == Value(link));
  }
  Array searched;
  for (const auto& path : paths) searched.emplace_back(Array(path.begin(), path.end()));
  require(*launch.dictionary("meta")->array("payloadKeys") == searched);
}

void checkApplication(const Dictionary& payload, const PushLinkPaths::Paths& paths, const std::string& found) {
  fuzz::Application application;
  const bool isLink = platform::Url::parse(found).has_value();
  require(heardOf(application, payload, paths) == (isLink ? 1 : 0));
  const Dictionary launch = fuzz::deliverLaunch(application);
  if (isLink) {
    checkLinkIn(launch, found, paths);
  } else {
    require(*launch.find("tx_deeplink") == Value(found));
  }
  const Dictionary next = fuzz::deliverLaunch(application);
  require(!next.contains("tx_deeplink"));
  const Dictionary* metadata = next.dictionary("meta");
  require(metadata == nullptr || !metadata->contains("payloadKeys"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto json = platform::parseJson(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (!json || json->dictionary() == nullptr) return 0;
  const PushLinkPaths::Paths paths = pathsIn(*json->dictionary());
  const auto found = checkSearch(*json->dictionary(), paths);
  if (txsdk_exists(found)) checkApplication(*json->dictionary(), paths, *found);
  return 0;
}
