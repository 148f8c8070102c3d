#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trovix/Value.h"
#include "trovix/platform/Platform.h"

namespace trovix::platform {
class AppLinkUtility;
class Url;
}  // namespace trovix::platform

namespace trovix {

/// Small facts about the environment and small conversions. Keeps no state; any thread.
class TrovixUtils {
 public:
  explicit TrovixUtils(platform::Platform& platform);

  /// {"data": {"receipt-data": base64}}, or {"data": "-1", "message": why}.
  [[nodiscard]] Dictionary getStoreReceipt() const;
  /// Name of the wrapping framework, "ios_native" when there is none.
  [[nodiscard]] std::string develomentPlatformName() const;
  /// Whether the wireless interface carries an IPv4 address.
  [[nodiscard]] bool isWifiAvailable() const;
  /// Whether a tunnel interface has proxy settings of its own.
  [[nodiscard]] bool isVPNConnected() const;
  /// "free/total" in mebibytes, or "domain, code".
  [[nodiscard]] std::string freeDiskspace() const;
  /// The companion SDK's anonymous identifier, when that SDK is linked and has kept one. Reads a file.
  [[nodiscard]] std::optional<std::string> retrievePersistedAnonymousID() const;
  /// Path of a file in the user's library directory.
  [[nodiscard]] std::string persistenceFilePath(std::string_view fileName) const;
  /// Answers once: "ttr" (elapsed seconds) with "link" or "error"; or "error" alone, before this returns, when the
  /// companion class "FBSDKAppLinkUtility" is missing or cannot be asked. Else on the thread of that class's answer.
  void fetchFacebookDeferredAppLink(std::function<void(const Dictionary&)> completion) const;
  /// Whether the device's integrity is broken.
  [[nodiscard]] bool isJailbrokenWithSkipAdvancedJailbreakValidation(bool skip) const;
  /// Whether the executable lies in an application extension.
  [[nodiscard]] bool txsdk_is_app_extension() const;
  /// Logs which companion classes are linked.
  void txsdk_print_dependencies() const;

  // Pure.
  /// JSON bytes, or nothing with `statusCode` -1 (not a JSON object) or -2 (no memory for it). Success leaves it.
  [[nodiscard]] static std::optional<Data> JSONFromParameters(const std::optional<Dictionary>& parameters,
                                                              std::int64_t& statusCode);
  /// Lower-case digits; wipes the bytes it read.
  [[nodiscard]] static std::string toHexString(std::uint8_t* bytes, std::size_t length);
  // Digests in lower-case digits, empty where the system does not offer one.
  /// Over as many UTF-8 bytes as the text has UTF-16 units, as the servers compute it.
  [[nodiscard]] static std::string sha1(std::string_view text);
  /// Over the whole UTF-8 form.
  [[nodiscard]] static std::string sha256(std::string_view text);
  /// Over the text up to its first NUL.
  [[nodiscard]] static std::string md5(std::string_view text);
  /// Bytes of the UTF-8 form.
  [[nodiscard]] static std::size_t getUTF8Length(std::string_view text);
  /// One debug line with address and body. `kind` holds the event option bits that choose the label.
  static void logRequestContent(std::uint64_t kind, std::string_view url, std::string_view body);
  /// Decoded query items with a value; a later duplicate wins.
  [[nodiscard]] static Dictionary queryParametersFromURL(const platform::Url& url);
  /// The URL with one query item per entry added, when its text contains the marker; an empty marker is in no text. A
  /// null entry becomes an item without a value.
  [[nodiscard]] static platform::Url urlValidatedWithString(std::string_view marker, const platform::Url& url,
                                                            const Dictionary& parameters);
  /// "/shortlink-sdk/v1/A?id=B" for a short or branded link; else nothing. `message` gets the path, or why there is
  /// none.
  [[nodiscard]] static std::optional<std::string> getVeyraPathWithURL(const std::optional<std::string>& link,
                                                                      bool isBrandedDomain, std::string& message);
  /// Whether there is more in it than white space.
  [[nodiscard]] static bool isValidDeeplink(const std::optional<std::string>& text);
  /// Whether it is a URL with a scheme and a host.
  [[nodiscard]] static bool isValidURLFromString(std::string_view text);
  // Fixed texts: this build has neither an orientation nor a cellular radio to read.
  [[nodiscard]] static std::string deviceOrientation();
  [[nodiscard]] static std::string readMobileCountryCode();
  [[nodiscard]] static std::string readMobileNetworkCode();
  [[nodiscard]] static std::string readCurrentRadioAccessTechnology();
  /// All parts in their order, nothing between them.
  [[nodiscard]] static std::string unite(const std::vector<std::string>& parts);
  /// A copy without nulls, nested dictionaries and arrays included.
  [[nodiscard]] static Dictionary recursivelyRemoveNulls(const Dictionary& dictionary);
  [[nodiscard]] static Array recursivelyRemoveNullsFromArray(const Array& array);
  /// Whether the keychain of earlier versions has to be migrated at this start; true for this version.
  [[nodiscard]] static bool versionRequiresMigration();
  /// Non-zero in a desktop sandbox container; 0 here.
  [[nodiscard]] static std::int64_t txsdk_mac_os_sandbox_container();

 private:
  platform::Platform& platform_;
};

}  // namespace trovix
