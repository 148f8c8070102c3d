#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Mutex.h"
#include "trovix/Value.h"

namespace trovix::platform {
class Clock;
}

namespace trovix {

/// Stopwatches and a table of results. Any thread.
class TXSDKPerformance {
 public:
  static constexpr const char* TXSDKFromInitToStart = "first_launch.init_to_fg";
  static constexpr const char* TXSDKFromStartToNetwork = "first_launch.from_fg";
  static constexpr const char* firstLaunchNetwork = "first_launch.net";
  static constexpr const char* conversionDataNetwork = "gcd.net";
  static constexpr const char* conversionDataRetries = "gcd.retries";
  static constexpr const char* TXSDKFromInitToDDLNetwork = "ddl.from_fg";
  static constexpr const char* deferredDeepLinkNetwork = "ddl.net";
  static constexpr const char* deferredDeepLinkStatus = "ddl.status";
  static constexpr const char* deferredDeepLinkTimeout = "ddl.timeout_value";

  explicit TXSDKPerformance(const platform::Clock& clock);

  void start(std::string_view key);
  /// Stores the elapsed whole milliseconds under the key; nothing when it was not started.
  void stop(std::string_view key);
  /// A number under "ddl.status" becomes its name.
  void setInfo(Value info, std::string_view key);
  [[nodiscard]] std::optional<Value> infoForKey(std::string_view key) const;
  [[nodiscard]] std::optional<Value> infoForKeyAndRemove(const std::optional<std::string>& key);
  /// Machine units (nanoseconds) to whole milliseconds.
  [[nodiscard]] static std::int64_t milliFromMachTime(std::uint64_t units) noexcept;

 private:
  const platform::Clock& clock_;
  mutable platform::Mutex mutex_;
  std::map<std::string, std::uint64_t, std::less<>> watches_ TX_GUARDED_BY(mutex_);
  std::map<std::string, Value, std::less<>> info_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
