#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "platform/Mutex.h"

namespace trovix {

/// What this run of the process has seen, shared between the features. Any thread.
class SessionState {
 public:
  /// Time of the last counted launch, seconds since 1970; nothing before the first.
  [[nodiscard]] std::optional<double> lastLaunchTime() const;
  void setLastLaunchTime(double time);
  /// Who opened the application; taken by the next launch payload.
  void setSourceApplication(std::optional<std::string> sourceApplication);
  [[nodiscard]] std::optional<std::string> takeSourceApplication();
  /// The last advertising identifier that a request carried.
  [[nodiscard]] std::optional<std::string> advertisingIdentifier() const;
  void setAdvertisingIdentifier(std::optional<std::string> identifier);

  /// The launch brought an activity, which the system hands over once more.
  std::atomic<bool> skipNextUniversalLinkAttribution{false};
  /// The launch brought a link or an activity, which no deferred link may follow.
  std::atomic<bool> skipDDLResult{false};

 private:
  mutable platform::Mutex mutex_;
  std::optional<double> lastLaunchTime_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> sourceApplication_ TX_GUARDED_BY(mutex_);
  std::optional<std::string> advertisingIdentifier_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
