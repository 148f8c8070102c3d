#include "network/TXSDKPerformance.h"

#include <utility>

#include "trovix/platform/Clock.h"

namespace trovix {
namespace {

const char* deferredDeepLinkStatusName(std::int64_t status) noexcept {
  if (status == 1) return "FOUND";
  return status == 0 ? "NOT_FOUND" : "ERROR";
}

}  // namespace

TXSDKPerformance::TXSDKPerformance(const platform::Clock& clock) : clock_(clock) {}

void TXSDKPerformance::start(std::string_view key) {
  // Read under the lock, so that no stop is earlier than its start.
  const platform::MutexLock lock(mutex_);
  const std::uint64_t now = clock_.monotonicNanoseconds();
  watches_.insert_or_assign(std::string(key), now);
}

void TXSDKPerformance::stop(std::string_view key) {
  const platform::MutexLock lock(mutex_);
  const std::uint64_t now = clock_.monotonicNanoseconds();
  const auto watch = watches_.find(key);
  if (watch == watches_.end()) return;
  info_.insert_or_assign(std::string(key), Value(milliFromMachTime(now - watch->second)));
  watches_.erase(watch);
}

void TXSDKPerformance::setInfo(Value info, std::string_view key) {
  if (key == deferredDeepLinkStatus && info.isNumber()) info = deferredDeepLinkStatusName(info.integerValue());
  const platform::MutexLock lock(mutex_);
  info_.insert_or_assign(std::string(key), std::move(info));
}

std::optional<Value> TXSDKPerformance::infoForKey(std::string_view key) const {
  const platform::MutexLock lock(mutex_);
  const auto found = info_.find(key);
  return found != info_.end() ? std::optional<Value>(found->second) : std::nullopt;
}

std::optional<Value> TXSDKPerformance::infoForKeyAndRemove(const std::optional<std::string>& key) {
  if (!key) return std::nullopt;
  const platform::MutexLock lock(mutex_);
  const auto found = info_.find(*key);
  if (found == info_.end()) return std::nullopt;
  std::optional<Value> value(std::move(found->second));
  info_.erase(found);
  return value;
}

std::int64_t TXSDKPerformance::milliFromMachTime(std::uint64_t units) noexcept {
  constexpr std::uint64_t unitsPerMillisecond = 1'000'000;
  return static_cast<std::int64_t>(units / unitsPerMillisecond);
}

}  // namespace trovix
