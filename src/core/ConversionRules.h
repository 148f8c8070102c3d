#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trovix/Value.h"

namespace trovix {

/// What launches and events ask of the ad network's conversion rules.
class ConversionRules {
 public:
  /// Readiness bits.
  static constexpr std::uint64_t finishedLaunching = 2;
  static constexpr std::uint64_t devKeyKnown = 4;
  static constexpr std::uint64_t appIdKnown = 8;

  virtual ~ConversionRules() = default;
  // Serial queue.
  virtual void willResolveSKRules(std::uint64_t bit) = 0;
  /// The new value when it was raised; 0 without a rule or after the window; else the negated current value.
  virtual std::int32_t willUpdateConversionValueWithName(const std::string& name,
                                                         const std::optional<Dictionary>& values) = 0;
  // Any thread; return at once.
  virtual void willRequestConversionValueAndUpdate() = 0;
  [[nodiscard]] virtual bool isS2SModeEnabled() const = 0;
  [[nodiscard]] virtual bool isSKWindowExpired() const = 0;
};

}  // namespace trovix
