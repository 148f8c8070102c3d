#pragma once

#include <memory>
#include <string>

#include "platform/Mutex.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix::platform {

class DeviceProfile;
class TimeZone;

/// The profile's locale. Its time zone is the profile's, by name; without one, or with a name that the machine's
/// time-zone database does not have, the machine's.
class LinuxLocale : public Locale {
 public:
  explicit LinuxLocale(const DeviceProfile& profile);
  ~LinuxLocale() override;

  [[nodiscard]] std::optional<std::string> preferredLanguage() const override;
  [[nodiscard]] std::optional<std::string> languageCode() const override;
  [[nodiscard]] std::optional<std::string> countryCode() const override;
  [[nodiscard]] std::int32_t secondsFromGMT(double secondsSince1970) const override;

 private:
  [[nodiscard]] std::shared_ptr<const TimeZone> timeZone() const;

  const DeviceProfile& profile_;
  mutable Mutex mutex_;
  mutable std::string zoneName_ TX_GUARDED_BY(mutex_);
  /// The zone of that name; a null pointer when there is none.
  mutable std::shared_ptr<const TimeZone> zone_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
