#pragma once

#include "trovix/platform/DeviceFacts.h"

// Facts that a Linux machine does not have: the device profile's word, or nothing.
namespace trovix::platform {

class DeviceProfile;

class ProfileDevice : public Device {
 public:
  explicit ProfileDevice(const DeviceProfile& profile) : profile_(profile) {}
  [[nodiscard]] std::optional<std::string> model() const override;
  [[nodiscard]] std::optional<std::string> name() const override;
  [[nodiscard]] std::optional<std::string> systemName() const override;
  [[nodiscard]] std::optional<std::string> systemVersion() const override;
  [[nodiscard]] std::optional<std::string> localizedModel() const override;
  [[nodiscard]] std::optional<std::string> identifierForVendor() const override;
  [[nodiscard]] std::optional<std::string> operatingSystemVersionString() const override;

 private:
  const DeviceProfile& profile_;
};

class ProfileScreen : public Screen {
 public:
  explicit ProfileScreen(const DeviceProfile& profile) : profile_(profile) {}
  /// Nothing unless both sizes are there, finite and not negative.
  [[nodiscard]] std::optional<PixelSize> nativeBounds() const override;

 private:
  const DeviceProfile& profile_;
};

/// A query by numbers is the fact of the name "6.15".
class ProfileSystemControl : public SystemControl {
 public:
  explicit ProfileSystemControl(const DeviceProfile& profile) : profile_(profile) {}
  [[nodiscard]] std::optional<std::string> text(std::string_view name) const override;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view name) const override;
  [[nodiscard]] std::optional<std::int64_t> integer(int first, int second) const override;

 private:
  const DeviceProfile& profile_;
};

}  // namespace trovix::platform
