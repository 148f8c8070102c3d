// A device profile may say anything about the device, and change while the SDK runs. Facts of the wrong type are
// absent, dates stay dates, and every event can be written.
#include "core/TrovixLibParts.h"
#include "fuzz/Support.h"
#include "platform/WithoutNulls.h"
#include "platform/linux/DeviceProfile.h"
#include "platform/linux/LinuxBundle.h"
#include "platform/linux/LinuxFrameworks.h"
#include "platform/linux/LinuxLocale.h"
#include "platform/linux/LinuxNetworkInterfaces.h"
#include "platform/linux/ProfileFacts.h"
#include "platform/linux/TimeZone.h"
#include "trovix/platform/NotificationCenter.h"

namespace {

using namespace trovix;
using fuzz::require;

/// A simulated device whose facts are the profile's.
struct ProfiledDevice {
  explicit ProfiledDevice(const Dictionary& given) : profile(given) {}

  test::SimulatedDevice device;
  platform::DeviceProfile profile;
  platform::LinuxBundle bundle{profile, device.fileSystem, "/app/StoreKit/receipt"};
  platform::ProfileSystemControl systemControl{profile};
  platform::ProfileDevice facts{profile};
  platform::ProfileScreen screen{profile};
  platform::LinuxLocale locale{profile};
  platform::LinuxNetworkInterfaces interfaces{profile};
  platform::LinuxFrameworks frameworks{
      profile, [](std::optional<std::int64_t> value) { require(!value || (*value >= 0 && *value <= 63)); }};
  platform::Platform services{device.clock,
                              device.queues,
                              device.notificationCenter,
                              device.userDefaults,
                              device.keychain,
                              bundle,
                              device.environment,
                              device.directories,
                              device.fileSystem,
                              device.console,
                              device.systemLog,
                              device.integrity,
                              systemControl,
                              facts,
                              screen,
                              locale,
                              interfaces,
                              device.network,
                              device.backgroundTasks,
                              frameworks,
                              device.classRegistry};
};

void checkMoment(double moment, std::int32_t offset) {
  const auto time = platform::calendarTime(moment, offset);
  require(time.year >= 0 && time.year <= 9999 && time.month >= 1 && time.month <= 12 && time.day >= 1 &&
          time.day <= 31 && time.hour >= 0 && time.hour <= 23 && time.minute >= 0 && time.minute <= 59 &&
          time.second >= 0 && time.second <= 59 && time.millisecond >= 0 && time.millisecond <= 999);
}

constexpr double moments[] = {0, -1, 951782400.5, 1.7e9, 4102444799, -1e11, 1e18, -1e300, HUGE_VAL, NAN};

void checkLocale(const platform::LinuxLocale& locale) {
  for (const double moment : moments) checkMoment(moment, locale.secondsFromGMT(moment));
}

void checkZone(std::string_view file) {
  const auto zone = platform::TimeZone::parse(Data(file.begin(), file.end()));
  if (!zone) return;
  for (const double moment : moments) checkMoment(moment, zone->offsetAt(saturatingInteger(moment)));
}

void checkMerge(platform::DeviceProfile& profile, const Dictionary& changes) {
  profile.merge(changes);
  const auto once = profile.snapshot();
  profile.merge(changes);
  // A fact that is null is absent.
  require(platform::withoutNulls(*profile.snapshot()) == platform::withoutNulls(*once));
  for (const auto& [section, change] : changes) require(change.isNull() != once->contains(section));
}

void checkFacts(const ProfiledDevice& profiled) {
  checkLocale(profiled.locale);
  if (const auto bounds = profiled.screen.nativeBounds()) {
    require(std::isfinite(bounds->width) && std::isfinite(bounds->height) && bounds->width >= 0 && bounds->height >= 0);
  }
}

/// A launch and an event; the network knows the conversion rule and nothing else, so that both stay in the cache.
void checkEvents(ProfiledDevice& profiled, const Array& changes) {
  TrovixLib sdk(profiled.services);
  fuzz::Application::configure(sdk);
  sdk.setDisableCollectASA(false);
  test::SimulatedDevice& device = profiled.device;
  device.network.answer("/rules?", test::Answer{.body = R"({"sk_rules":{"en":"tx_purchase"}})"});
  device.notificationCenter.post(platform::application::didFinishLaunching);
  device.runUntilIdle();
  sdk.start();
  for (const Value& change : changes) {
    if (change.dictionary() != nullptr) checkMerge(profiled.profile, *change.dictionary());
    checkFacts(profiled);
    device.advance(1.0);
  }
  sdk.validateAndLogInAppPurchase("shoes", "3", "USD", "T1", {}, {}, {});
  device.advance(fuzz::longEnough);
  const auto cached = sdk.parts().cache.cachedEvents();
  require(!cached.empty());
  for (const TXSDKEvent& event : cached) require(event.data().has_value());
  require(!sdk.getTrovixUID().empty());
}

}  // namespace

/// Facts, or a list of facts and changes; or a compiled time zone.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  if (text.starts_with("TZif")) checkZone(text);
  const auto json = platform::parseJson(text);
  if (!json) return 0;
  Array parts = json->array() != nullptr ? *json->array() : Array{*json};
  if (parts.empty() || parts.front().dictionary() == nullptr || parts.size() > 8) return 0;
  ProfiledDevice profiled(*parts.front().dictionary());
  checkFacts(profiled);
  parts.erase(parts.begin());
  checkEvents(profiled, parts);
  return 0;
}
