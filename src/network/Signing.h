#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

namespace trovix::platform {
class Device;
class Environment;
class Integrity;
}  // namespace trovix::platform

namespace trovix {

/// The per-request checksum. One per SDK, made before its first request. Any thread.
class TXSDKChecksum {
 public:
  TXSDKChecksum(const platform::Environment& environment, const platform::Device& device,
                const platform::Integrity& integrity);

  /// 32 lower-case digits with five flags woven in; nothing when a digest fails.
  [[nodiscard]] std::optional<std::string> calculate(double timestamp, std::string_view bundleIdentifier,
                                                     std::string_view devKey, bool skipAdvancedValidation) const;
  /// The run-time integrity text for a remainder.
  [[nodiscard]] std::string runtimeIntegrity(std::int32_t remainder) const;

  /// From system version 9.0 on told by the environment, before that by the model's name.
  [[nodiscard]] bool isSimulator() const;
  [[nodiscard]] static bool isDevelopmentBuild() noexcept { return true; }
  [[nodiscard]] bool isCounterValid() const noexcept { return isCounterValid_; }
  void setIsCounterValid(bool valid) noexcept { isCounterValid_ = valid; }

 private:
  const platform::Environment& environment_;
  const platform::Device& device_;
  const platform::Integrity& integrity_;
  std::atomic<bool> isCounterValid_{true};
};

/// Lower-case HMAC-SHA256; each text counts up to its first NUL, one that is not ASCII counts as empty.
[[nodiscard]] std::string hmacForKeyAndData(std::string_view key, std::string_view data);
/// Exchanges each pair of neighbouring characters.
[[nodiscard]] std::string txsdk_swap(std::string_view text);

/// The link service's two headers for this moment.
struct LinkAuthorization {
  std::string timestamp;      // "tx-timestamp"
  std::string authorization;  // "authorization"
};
[[nodiscard]] LinkAuthorization linkAuthorization(std::string_view devKey, double now);
/// The deferred deep link's "tx_sig" over its "timestamp".
[[nodiscard]] std::string deferredDeepLinkSignature(std::string_view devKey, std::string_view timestamp);
/// Milliseconds since 1970, "%.0f".
[[nodiscard]] std::string millisecondTimestamp(double now);
/// The "Authorization" of a request for conversion rules, over its "Tx-Timestamp".
[[nodiscard]] std::string conversionRulesSignature(std::string_view devKey, std::string_view timestamp,
                                                   std::string_view appleAppID, std::string_view uid,
                                                   std::string_view currency);
/// The "Authorization" of a request for a conversion value, over its "Tx-Timestamp".
[[nodiscard]] std::string conversionValueSignature(std::string_view devKey, std::string_view timestamp,
                                                   std::string_view appleAppID, std::string_view uid);

}  // namespace trovix
