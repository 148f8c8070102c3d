#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "trovix/Value.h"

namespace trovix::platform {
class Device;
class Screen;
class SystemControl;
}  // namespace trovix::platform

namespace trovix {

/// Hardware facts for the payload. Any thread.
class TXSystemInfo {
 public:
  TXSystemInfo(const platform::SystemControl& system, const platform::Screen& screen, const platform::Device& device);

  /// "deviceData": built once and never refreshed.
  [[nodiscard]] const Dictionary& getSystemInfo() const;
  [[nodiscard]] std::optional<std::string> osVersion() const;
  [[nodiscard]] std::optional<std::string> machineModel() const;
  /// Mebibytes, -1 when unknown.
  [[nodiscard]] std::int64_t ramSize() const;
  [[nodiscard]] std::optional<std::string> cpuType() const;
  /// Megahertz, -1 when unknown.
  [[nodiscard]] std::int64_t cpuSpeed() const;
  /// 1 when unknown.
  [[nodiscard]] std::int32_t cpuCount() const;
  [[nodiscard]] bool is64bit() const;
  [[nodiscard]] std::optional<std::string> architecture() const;
  /// "x_px" and "y_px", 0 without a screen.
  [[nodiscard]] Dictionary deviceScreenSize() const;

 private:
  const platform::SystemControl& system_;
  const platform::Screen& screen_;
  const platform::Device& device_;
  mutable std::once_flag once_;
  mutable Dictionary info_;
};

}  // namespace trovix
