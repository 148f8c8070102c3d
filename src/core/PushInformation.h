#pragma once

#include <optional>
#include <string>

namespace trovix {

/// What a push notification brought for the next launch.
class PushInformation {
 public:
  virtual ~PushInformation() = default;
  /// The push payload that opened the application; taking it clears it. Any thread.
  [[nodiscard]] virtual std::optional<std::string> takeNotificationUserInfo() = 0;
};

}  // namespace trovix
