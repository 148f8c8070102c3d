#include "platform/linux/ProfileFacts.h"

#include <fmt/core.h>

#include <limits>

#include "platform/linux/DeviceProfile.h"

namespace trovix::platform {
namespace {

bool isLength(std::optional<double> number) {
  return number && *number >= 0 && *number <= static_cast<double>(std::numeric_limits<float>::max());
}

}  // namespace

std::optional<std::string> ProfileDevice::model() const { return profile_.string({"device", "model"}); }
std::optional<std::string> ProfileDevice::name() const { return profile_.string({"device", "name"}); }
std::optional<std::string> ProfileDevice::systemName() const { return profile_.string({"device", "systemName"}); }
std::optional<std::string> ProfileDevice::systemVersion() const { return profile_.string({"device", "systemVersion"}); }
std::optional<std::string> ProfileDevice::localizedModel() const {
  return profile_.string({"device", "localizedModel"});
}
std::optional<std::string> ProfileDevice::identifierForVendor() const {
  return profile_.string({"device", "identifierForVendor"});
}
std::optional<std::string> ProfileDevice::operatingSystemVersionString() const {
  return profile_.string({"operatingSystemVersionString"});
}

std::optional<PixelSize> ProfileScreen::nativeBounds() const {
  const auto width = profile_.real({"screen", "width"});
  const auto height = profile_.real({"screen", "height"});
  if (!isLength(width) || !isLength(height)) return std::nullopt;
  return PixelSize{static_cast<float>(*width), static_cast<float>(*height)};
}

std::optional<std::string> ProfileSystemControl::text(std::string_view name) const {
  return profile_.string({"system", name});
}

std::optional<std::int64_t> ProfileSystemControl::integer(std::string_view name) const {
  return profile_.integer({"system", name});
}

std::optional<std::int64_t> ProfileSystemControl::integer(int first, int second) const {
  return integer(fmt::format("{}.{}", first, second));
}

}  // namespace trovix::platform
