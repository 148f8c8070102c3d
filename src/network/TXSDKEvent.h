#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trovix/Value.h"

namespace trovix {

class TXSDKChecksum;

/// What a request is, as bits of one 64-bit word.
namespace eventOption {
inline constexpr std::uint64_t TXEventOptionInAppEvent = 16;
inline constexpr std::uint64_t TXEventOptionLaunch = 32;
inline constexpr std::uint64_t conversionValue = 64;
inline constexpr std::uint64_t TXEventOptionSearchAds = 128;
inline constexpr std::uint64_t TXEventOptionColdStart = 256;
inline constexpr std::uint64_t TXEventOptionFirstLaunch = 512;
inline constexpr std::uint64_t conversionRules = 1024;
inline constexpr std::uint64_t deepLink = 2048;
inline constexpr std::uint64_t deferredDeepLink = 4096;
/// Requests that bypass the launch and in-app counters.
inline constexpr std::uint64_t uncountedMask = 7168;
/// What decides the order in the buffer.
inline constexpr std::uint64_t orderingMask = 5504;
}  // namespace eventOption

/// A request: its parameters (the JSON body), where it goes, which SDK made it, and its cache file once it has one.
/// Copies are independent. Used by one thread at a time.
class TXSDKEvent {
 public:
  TXSDKEvent() = default;
  TXSDKEvent(Dictionary parameters, std::optional<std::string> URL, std::optional<std::string> SDKVersion,
             std::uint64_t options);
  /// Only knows its path.
  [[nodiscard]] static TXSDKEvent fromFilePath(std::string path);

  std::optional<Dictionary> parameters;
  std::optional<std::string> URL;
  std::optional<std::string> SDKVersion;
  std::uint64_t options = 0;
  std::optional<std::string> filePath;

  [[nodiscard]] bool has(std::uint64_t bits) const noexcept { return (options & bits) != 0; }
  /// Whether its delivery moves no counter and its file is left alone.
  [[nodiscard]] bool isUncounted() const noexcept { return has(eventOption::uncountedMask); }

  // Read from the parameters.
  [[nodiscard]] std::optional<std::string> key() const;
  [[nodiscard]] std::optional<Value> timestamp() const;
  [[nodiscard]] std::optional<std::string> bundleIdentifier() const;
  [[nodiscard]] std::optional<Value> launchCnt() const;
  [[nodiscard]] std::optional<Value> inAppCnt() const;
  /// "options-timestamp".
  [[nodiscard]] std::string UUID() const;

  /// A ".plist" file with an address and parameters, written by this very version.
  [[nodiscard]] bool isValid() const;
  /// Adds "cksm_v1" and "ref", computed afresh from the unchanged timestamp.
  void sign(TXSDKChecksum& checksum);
  /// The parameters as JSON; nothing (and a log line) when they cannot be written.
  [[nodiscard]] std::optional<Data> data() const;
  /// The wire form; the single byte 255 for no data or a cipher that fails.
  [[nodiscard]] Data encryptWithData(const std::optional<Data>& data) const;
};

}  // namespace trovix
