#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/Text.h"
#include "trovix/Error.h"
#include "trovix/Value.h"

// Digests and ciphers. Free of state, any thread.
namespace trovix::platform {

/// Nothing where the system's cryptography does not offer the digest.
[[nodiscard]] std::optional<std::array<std::uint8_t, 16>> md5(Bytes message);
[[nodiscard]] std::optional<std::array<std::uint8_t, 20>> sha1(Bytes message);
[[nodiscard]] std::optional<std::array<std::uint8_t, 32>> sha256(Bytes message);
/// Zero bytes when it fails.
[[nodiscard]] std::array<std::uint8_t, 32> hmacSha256(Bytes key, Bytes message);

/// AES-128 in CBC mode with PKCS#7 padding. The error's code is the library's.
Result<Data> aes128CbcEncrypt(Bytes plain, const std::array<std::uint8_t, 16>& key,
                              const std::array<std::uint8_t, 16>& iv);
/// PBKDF2 with HMAC-SHA1; false when it fails, and then `key` is zero.
[[nodiscard]] bool pbkdf2Sha1(std::string_view password, Bytes salt, int rounds, std::span<std::uint8_t> key);
/// Fills from the system's secure generator; 0, or errno and then the bytes are zero.
[[nodiscard]] int secureRandom(std::span<std::uint8_t> bytes) noexcept;
/// A random UUID, upper case.
[[nodiscard]] std::string randomUUIDString();

}  // namespace trovix::platform
