#include <fmt/core.h>

#include <atomic>
#include <memory>
#include <utility>

#include "device/TrovixUtils.h"
#include "platform/Json.h"
#include "trovix/platform/ClassRegistry.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/FileSystem.h"

namespace trovix {

namespace {

constexpr std::size_t largestIdentifierFile = std::size_t{1024} * 1024;
constexpr const char* appLinkUtility = "FBSDKAppLinkUtility";

}  // namespace

std::string TrovixUtils::persistenceFilePath(std::string_view fileName) const {
  return fmt::format("{}/{}", platform_.directories.library(), fileName);
}

std::optional<std::string> TrovixUtils::retrievePersistedAnonymousID() const {
  if (!platform_.classRegistry.hasClass("FBSDKAppEventsUtility")) return std::nullopt;
  const auto bytes = platform_.fileSystem.read(persistenceFilePath("com-facebook-sdk-PersistedAnonymousID.json"),
                                               largestIdentifierFile);
  if (!bytes) return std::nullopt;

  const auto parsed = platform::parseJson(*bytes, /*allowFragments=*/true);
  const Dictionary* persisted = parsed ? parsed->dictionary() : nullptr;
  const std::string* identifier = persisted ? persisted->string("anon_id") : nullptr;
  return identifier ? std::optional(*identifier) : std::nullopt;
}

void TrovixUtils::fetchFacebookDeferredAppLink(std::function<void(const Dictionary&)> completion) const {
  if (!completion) return;
  if (!platform_.classRegistry.hasClass(appLinkUtility)) {
    completion(Dictionary{{"error", "`FBSDKAppLinkUtility` class not found"}});
    return;
  }
  const auto utility = platform_.classRegistry.appLinkUtility(appLinkUtility);
  if (!utility || !utility->respondsToFetchDeferredAppLink()) {
    completion(Dictionary{{"error", "Unknown error"}});
    return;
  }
  // The answer may outlive this object, but not the platform.
  const platform::Clock& clock = platform_.clock;
  utility->fetchDeferredAppLink([&clock, start = clock.monotonicNanoseconds(),
                                 isAnswered = std::make_shared<std::atomic<bool>>(false),
                                 completion = std::move(completion)](Result<std::optional<std::string>> link) {
    // Not every companion keeps its word to answer once.
    if (isAnswered->exchange(true)) return;
    const double seconds = static_cast<double>(clock.monotonicNanoseconds() - start) / 1e9;
    Dictionary answer{{"ttr", fmt::format("{:g}", seconds)}};
    if (link) {
      answer.set("link", link->value_or(""));
    } else {
      answer.set("error", link.error().localizedDescription());
    }
    completion(answer);
  });
}

}  // namespace trovix
