#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The server's half of the protocol's cryptography, written straight over OpenSSL: it shares no code with the client,
// so that neither can be wrong unnoticed.
namespace trovix::collector {

using BodyKey = std::array<std::uint8_t, 16>;

/// The key of event bodies: slow on purpose (10,000 rounds), so derive it once. Nothing when the library fails.
[[nodiscard]] std::optional<BodyKey> deriveBodyKey(std::string_view devKey);

/// Opens a body: ciphertext, 16 bytes of initialisation vector, 8 bytes of salt. Nothing when it is no such message
/// or was sealed with another key.
[[nodiscard]] std::optional<std::string> openBody(std::string_view message, const BodyKey& key);

/// The facts that a client weaves into its checksum.
struct ChecksumFlags {
  bool simulator = false;
  bool development = false;
  bool integrity = false;
  bool counterValid = false;
  bool debugger = false;
};

/// The facts, when the checksum fits timestamp, bundle and developer key; nothing when it does not.
[[nodiscard]] std::optional<ChecksumFlags> verifyChecksum(std::string_view checksum, double timestamp,
                                                          std::string_view bundleIdentifier, std::string_view devKey);

/// Lower-case HMAC-SHA256. Each text ends at its first NUL, and one that is not ASCII is empty, as the clients have it.
[[nodiscard]] std::string keyedDigest(std::string_view key, std::string_view message);
/// Lower-case SHA-1, over as many bytes as the text has UTF-16 units, as the clients have it.
[[nodiscard]] std::string sha1Digest(std::string_view message);

}  // namespace trovix::collector
