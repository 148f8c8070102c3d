#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "trovix/Value.h"

// Sealing of keychain values. Any thread.
namespace trovix::platform {

class SystemLog;

using SealingKey = std::array<std::uint8_t, 32>;

/// AES-256-GCM with a random nonce: version, nonce, ciphertext, tag. `owner` is authenticated with the value, so a
/// seal opens for the same owner only. Nothing when there is no randomness.
[[nodiscard]] std::optional<Data> sealValue(const SealingKey& key, const Data& plain, std::string_view owner);
/// Nothing when the key or the owner is another one, or the bytes were altered.
[[nodiscard]] std::optional<Data> openSeal(const SealingKey& key, const Data& sealed, std::string_view owner);

/// The key in the file, 32 bytes of mode 0600; it is made when it is missing. A file of another size gets another name
/// beside it, and the log hears of it. Nothing when the file cannot be read or made.
[[nodiscard]] std::optional<SealingKey> readOrMakeSealingKey(const std::string& path, SystemLog& log);

}  // namespace trovix::platform
