#include "platform/linux/LinuxLocale.h"

#include <cmath>
#include <ctime>

#include "platform/linux/DeviceProfile.h"
#include "platform/linux/TimeZone.h"

namespace trovix::platform {
namespace {

std::int32_t machineOffsetAt(std::int64_t moment) {
  const auto time = static_cast<std::time_t>(moment);
  std::tm local{};
  if (::localtime_r(&time, &local) == nullptr) return 0;
  return static_cast<std::int32_t>(local.tm_gmtoff);
}

}  // namespace

LinuxLocale::LinuxLocale(const DeviceProfile& profile) : profile_(profile) {}

LinuxLocale::~LinuxLocale() = default;

std::optional<std::string> LinuxLocale::preferredLanguage() const {
  const auto facts = profile_.snapshot();
  const Value* languages = factAt(*facts, {"locale", "languages"});
  if (languages == nullptr || languages->array() == nullptr || languages->array()->empty()) return std::nullopt;
  const std::string* first = languages->array()->front().string();
  return first != nullptr ? std::optional<std::string>(*first) : std::nullopt;
}

std::optional<std::string> LinuxLocale::languageCode() const { return profile_.string({"locale", "language"}); }

std::optional<std::string> LinuxLocale::countryCode() const { return profile_.string({"locale", "country"}); }

std::int32_t LinuxLocale::secondsFromGMT(double secondsSince1970) const {
  const std::int64_t moment = saturatingInteger(std::floor(secondsSince1970));
  const auto zone = timeZone();
  return zone != nullptr ? zone->offsetAt(moment) : machineOffsetAt(moment);
}

std::shared_ptr<const TimeZone> LinuxLocale::timeZone() const {
  const auto facts = profile_.snapshot();
  const Value* fact = factAt(*facts, {"timeZone"});
  const std::string* name = fact != nullptr ? fact->string() : nullptr;
  if (name == nullptr) return nullptr;
  const MutexLock lock(mutex_);
  if (*name != zoneName_) {
    zone_ = TimeZone::named(*name);
    zoneName_ = *name;
  }
  return zone_;
}

}  // namespace trovix::platform
