#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "trovix/Value.h"
#include "trovix/platform/Platform.h"

namespace trovix::platform {
class SKAdNetworkClass;
}

namespace trovix {

class FrameworkLoader;
class TXSDKStorageProtocol;

/// How events move the conversion value.
enum class SKAdMode : std::uint8_t { none = 0, eventName = 1, revenue = 2, eventBits = 3, serverToServer = 4 };

/// The server's rule, as it is in force.
struct SKAdRule {
  /// `ms` of a rule that does not say.
  static constexpr std::uint8_t msAbsent = 255;

  std::int16_t wi = 24;  // window in hours
  bool s2s = false;      // server-to-server mode requested
  std::string en;        // the event that counts
  double ex = 0;         // revenue multiplier
  double di = 0;         // revenue divisor
  Array ev;              // event names; the position is a bit number
  std::uint8_t ms = msAbsent;
  SKAdMode mode = SKAdMode::none;
  std::int32_t sk_conversion_val = 0;
  double sk_exp = 0;  // end of the window, seconds since 1970
};

/// The smaller of the value and the rule's cap: 63, or 31 when the lowest bit of `ms` is clear.
[[nodiscard]] std::int64_t SKAdRuleIncrement(const SKAdRule& rule, std::int64_t value) noexcept;
/// The value that an event would give, capped; the current one when the event does not count.
[[nodiscard]] std::int64_t SKAdRuleCandidate(const SKAdRule& rule, const std::string& name, const Dictionary& values);

/// What `didReceiveConfiguration` answers.
enum class SKAdConfigurationResult : std::uint8_t {
  alreadyInForce = 1,
  notADictionary = 2,
  noRules = 3,
  appliedFromStorage = 4,
  cannotRegister = 5,
  applied = 255,
};

/// Keeps the conversion rule and raises the platform's conversion value by it. The questions come from any thread,
/// everything else on the serial queue.
class TXSDKSKAdNetwork {
 public:
  /// Applies the stored rule, if there is one.
  TXSDKSKAdNetwork(platform::Platform& platform, FrameworkLoader& loader, TXSDKStorageProtocol& storage);

  SKAdConfigurationResult didReceiveConfiguration(const std::optional<Value>& configuration);
  /// The new value when it was raised; 0 without a rule or after the window; else the current value negated.
  std::int32_t willUpdateConversionValueWithName(const std::string& name, const std::optional<Dictionary>& values);
  [[nodiscard]] bool isSKWindowExpired() const;
  [[nodiscard]] bool isS2SModeEnabled() const;

 private:
  [[nodiscard]] SKAdRule makeRule(const Dictionary& rules, Dictionary& normalized) const;
  SKAdConfigurationResult registerWithPlatform(const SKAdRule& rule, const Dictionary& normalized);

  platform::Platform& platform_;
  FrameworkLoader& loader_;
  TXSDKStorageProtocol& storage_;

  mutable platform::Mutex mutex_;
  SKAdRule rule_ TX_GUARDED_BY(mutex_);
  /// Found only when a rule comes fresh from the server, so a later process reports to nobody.
  platform::SKAdNetworkClass* adNetwork_ TX_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace trovix
