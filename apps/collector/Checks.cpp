#include "collector/Checks.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <span>
#include <utility>

namespace trovix::collector {
namespace {

constexpr std::size_t blockSize = 16;
constexpr std::size_t saltSize = 8;
constexpr int derivationRounds = 10'000;
constexpr const char* clientVersion = "6.2.2";

const unsigned char* bytesOf(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

std::string hex(std::span<const unsigned char> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const unsigned char byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::string digest(std::string_view message, const EVP_MD* algorithm) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
  unsigned int size = 0;
  if (EVP_Digest(message.data(), message.size(), bytes.data(), &size, algorithm, nullptr) != 1) return {};
  return hex({bytes.data(), size});
}

std::string_view asciiText(std::string_view text) {
  const bool isAscii = std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
  return isAscii ? text.substr(0, text.find('\0')) : "";
}

// The UTF-16 units of the text: a character of four bytes is two.
std::size_t unitCount(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) count += (c & 0xc0) == 0x80 ? 0 : (c & 0xf8) == 0xf0 ? 2 : 1;
  return count;
}

void swapPairs(std::string& text) {
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) std::swap(text[i], text[i + 1]);
}

// Out of range for "%f" is no timestamp that a clock gives.
std::optional<std::string> decimalText(double number) {
  std::array<char, 64> buffer;
  const int size = std::snprintf(buffer.data(), buffer.size(), "%f", number);
  if (size < 0 || static_cast<std::size_t>(size) >= buffer.size()) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(size));
}

}  // namespace

std::optional<BodyKey> deriveBodyKey(std::string_view devKey) {
  constexpr std::array<unsigned char, saltSize> salt{};
  BodyKey key;
  if (PKCS5_PBKDF2_HMAC_SHA1(devKey.data(), static_cast<int>(devKey.size()), salt.data(), saltSize, derivationRounds,
                             static_cast<int>(key.size()), key.data()) != 1)
    return std::nullopt;
  return key;
}

std::optional<std::string> openBody(std::string_view message, const BodyKey& key) {
  constexpr std::size_t trailer = blockSize + saltSize;
  if (message.size() < blockSize + trailer || (message.size() - trailer) % blockSize != 0) return std::nullopt;
  const std::size_t sealed = message.size() - trailer;
  if (message.substr(sealed + blockSize) != std::string_view("\0\0\0\0\0\0\0\0", saltSize)) return std::nullopt;
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(EVP_CIPHER_CTX_new(),
                                                                               EVP_CIPHER_CTX_free);
  std::string plain(sealed + blockSize, '\0');
  auto* const out = reinterpret_cast<unsigned char*>(plain.data());
  int written = 0;
  int rest = 0;
  if (cipher == nullptr ||
      EVP_DecryptInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, key.data(), bytesOf(message.substr(sealed))) != 1 ||
      EVP_DecryptUpdate(cipher.get(), out, &written, bytesOf(message), static_cast<int>(sealed)) != 1 ||
      EVP_DecryptFinal_ex(cipher.get(), out + written, &rest) != 1)
    return std::nullopt;
  plain.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(rest));
  return plain;
}

std::optional<ChecksumFlags> verifyChecksum(std::string_view checksum, double timestamp,
                                            std::string_view bundleIdentifier, std::string_view devKey) {
  const auto timestampText = decimalText(timestamp);
  if (!timestampText || checksum.size() != 32) return std::nullopt;
  std::string expected = digest(digest(*timestampText, EVP_sha256()) + ":" + digest(bundleIdentifier, EVP_sha256()) +
                                    ":" + clientVersion + ":" + std::string(devKey),
                                EVP_md5());
  std::string given(checksum);
  swapPairs(given);
  if (expected.size() != given.size()) return std::nullopt;

  constexpr std::size_t flagDistance = 5;
  const auto first = static_cast<std::size_t>(std::max(0.0, timestamp - std::floor(timestamp / 10) * 10));
  std::array<bool, 5> flags;
  for (std::size_t i = 0; i < flags.size(); ++i) {
    const std::size_t place = first + i * flagDistance;
    if (place >= given.size() || (given[place] != '0' && given[place] != '1')) return std::nullopt;
    flags[i] = given[place] == '1';
    expected[place] = given[place];
  }
  if (expected != given) return std::nullopt;
  return ChecksumFlags{flags[0], flags[1], flags[2], flags[3], flags[4]};
}

std::string keyedDigest(std::string_view key, std::string_view message) {
  const std::string_view keyText = asciiText(key);
  const std::string_view text = asciiText(message);
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
  unsigned int size = 0;
  if (HMAC(EVP_sha256(), keyText.data(), static_cast<int>(keyText.size()), bytesOf(text), text.size(), bytes.data(),
           &size) == nullptr)
    return {};
  return hex({bytes.data(), size});
}

std::string sha1Digest(std::string_view message) { return digest(message.substr(0, unitCount(message)), EVP_sha1()); }

}  // namespace trovix::collector
