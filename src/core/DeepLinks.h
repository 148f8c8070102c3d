#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trovix/Value.h"

namespace trovix {

/// Who handed a link over.
enum class LinkHandler : std::uint8_t {
  universalLink = 1,
  pushNotification = 2,
  launchOptions = 3,
  openURLWithSource = 4,
  openURLWithOptions = 5,
  cleared = 6,
};

/// What launches and events ask of deep links.
class DeepLinks {
 public:
  virtual ~DeepLinks() = default;
  /// A missing link clears the last one. Any thread; returns at once.
  virtual void setDeepLinkAndResolve(const std::optional<std::string>& URL, LinkHandler handler) = 0;
  /// Resolves the web page of a browsing-web activity ({"activityType", "webpageURL"}). Any thread.
  virtual void continueUserActivity(const Dictionary& userActivity) = 0;
  /// Parameters of the last resolved link; taking them clears them. Any thread.
  [[nodiscard]] virtual std::optional<Dictionary> takeVeyraParams() = 0;
  /// The server's link configuration in an answer; nothing happens when it is absent. Any thread.
  virtual void handleVeyraResponse(const std::optional<Value>& response) = 0;
};

}  // namespace trovix
