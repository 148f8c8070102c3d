#pragma once

#include <optional>
#include <string>

#include "trovix/platform/DeviceFacts.h"

namespace trovix {

/// The user-visible facts of the current device. Any thread.
class TXSDKDevice {
 public:
  explicit TXSDKDevice(const platform::Device& device) : device_(device) {}

  [[nodiscard]] std::optional<std::string> model() const { return device_.model(); }
  [[nodiscard]] std::optional<std::string> name() const { return device_.name(); }
  [[nodiscard]] std::optional<std::string> systemName() const { return device_.systemName(); }
  [[nodiscard]] std::optional<std::string> systemVersion() const { return device_.systemVersion(); }
  [[nodiscard]] std::optional<std::string> localizedModel() const { return device_.localizedModel(); }
  /// UUID text, or nothing when the platform has none.
  [[nodiscard]] std::optional<std::string> identifierForVendor() const { return device_.identifierForVendor(); }

 private:
  const platform::Device& device_;
};

}  // namespace trovix
