#include "core/SessionState.h"

#include <utility>

namespace trovix {

std::optional<double> SessionState::lastLaunchTime() const {
  const platform::MutexLock lock(mutex_);
  return lastLaunchTime_;
}

void SessionState::setLastLaunchTime(double time) {
  const platform::MutexLock lock(mutex_);
  lastLaunchTime_ = time;
}

void SessionState::setSourceApplication(std::optional<std::string> sourceApplication) {
  const platform::MutexLock lock(mutex_);
  sourceApplication_ = std::move(sourceApplication);
}

std::optional<std::string> SessionState::takeSourceApplication() {
  const platform::MutexLock lock(mutex_);
  return std::exchange(sourceApplication_, std::nullopt);
}

std::optional<std::string> SessionState::advertisingIdentifier() const {
  const platform::MutexLock lock(mutex_);
  return advertisingIdentifier_;
}

void SessionState::setAdvertisingIdentifier(std::optional<std::string> identifier) {
  const platform::MutexLock lock(mutex_);
  advertisingIdentifier_ = std::move(identifier);
}

}  // namespace trovix
