#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "trovix/Value.h"

namespace trovix {

/// Password-based encryption of request bodies. Any thread.
class TrovixAES128Crypto {
 public:
  using Key = std::array<std::uint8_t, 16>;

  /// Ciphertext, 16-byte vector, 8-byte salt; nothing (and an error line) when the cipher fails. The key of a
  /// password is derived once and kept, since the salt is constant.
  [[nodiscard]] static std::optional<Data> encrypt(const Data& data, std::string_view password);
  /// Zero bytes (and an error line) when the generator fails.
  [[nodiscard]] static Data randomDataOfLength(std::size_t count);
  /// Zero bytes (and an error line) when the derivation fails.
  [[nodiscard]] static Key AESKeyForPassword(std::string_view password, const Data& salt);
};

}  // namespace trovix
