#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/EventOptions.h"
#include "trovix/Value.h"

namespace trovix {

class TXSDKChecksum;

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
