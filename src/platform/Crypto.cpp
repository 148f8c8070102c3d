#include "platform/Crypto.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

namespace trovix::platform {
namespace {

constexpr const char* cipherErrorDomain = "OpenSSL";

// Fetching an algorithm costs more than using it, so each is fetched once and lives as long as the process.
struct Algorithms {
  EVP_MD* md5;
  EVP_MD* sha1;
  EVP_MD* sha256;
  EVP_MAC* hmac;
  EVP_CIPHER* aes128Cbc;

  Algorithms() {
    // Threads that still run while the process exits must find the library whole.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
    sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    hmac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    aes128Cbc = EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr);
  }
};

const Algorithms& algorithms() {
  static const auto& instance = *new Algorithms;
  return instance;
}

template <auto freeIt>
struct Deleter {
  template <typename T>
  void operator()(T* object) const {
    freeIt(object);
  }
};
using MacContext = std::unique_ptr<EVP_MAC_CTX, Deleter<EVP_MAC_CTX_free>>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Deleter<EVP_CIPHER_CTX_free>>;

template <std::size_t size>
std::optional<std::array<std::uint8_t, size>> digest(const EVP_MD* algorithm, Bytes message) {
  std::array<std::uint8_t, size> result{};
  unsigned length = size;
  if (algorithm == nullptr ||
      EVP_Digest(message.data(), message.size(), result.data(), &length, algorithm, nullptr) != 1) {
    return std::nullopt;
  }
  return result;
}

int lengthOf(std::size_t size) noexcept { return static_cast<int>(std::min<std::size_t>(size, INT_MAX)); }

Error cipherError() { return {cipherErrorDomain, static_cast<std::int64_t>(ERR_get_error())}; }

}  // namespace

std::optional<std::array<std::uint8_t, 16>> md5(Bytes message) { return digest<16>(algorithms().md5, message); }
std::optional<std::array<std::uint8_t, 20>> sha1(Bytes message) { return digest<20>(algorithms().sha1, message); }
std::optional<std::array<std::uint8_t, 32>> sha256(Bytes message) { return digest<32>(algorithms().sha256, message); }

std::array<std::uint8_t, 32> hmacSha256(Bytes key, Bytes message) {
  std::array<std::uint8_t, 32> result{};
  char name[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name, 0),
                                   OSSL_PARAM_construct_end()};
  static constexpr std::uint8_t emptyKey = 0;
  const std::uint8_t* keyBytes = key.empty() ? &emptyKey : key.data();
  const MacContext context(EVP_MAC_CTX_new(algorithms().hmac));
  std::size_t length = 0;
  if (context == nullptr || EVP_MAC_init(context.get(), keyBytes, key.size(), parameters) != 1 ||
      EVP_MAC_update(context.get(), message.data(), message.size()) != 1 ||
      EVP_MAC_final(context.get(), result.data(), &length, result.size()) != 1) {
    result.fill(0);
  }
  return result;
}

Result<Data> aes128CbcEncrypt(Bytes plain, const std::array<std::uint8_t, 16>& key,
                              const std::array<std::uint8_t, 16>& iv) {
  if (plain.size() > INT_MAX - 16) return Error(cipherErrorDomain, EMSGSIZE);
  Data cipherText(plain.size() + 16);
  const CipherContext context(EVP_CIPHER_CTX_new());
  int body = 0;
  int padding = 0;
  if (context == nullptr ||
      EVP_EncryptInit_ex2(context.get(), algorithms().aes128Cbc, key.data(), iv.data(), nullptr) != 1 ||
      EVP_EncryptUpdate(context.get(), cipherText.data(), &body, plain.data(), lengthOf(plain.size())) != 1 ||
      EVP_EncryptFinal_ex(context.get(), cipherText.data() + body, &padding) != 1) {
    return cipherError();
  }
  cipherText.resize(static_cast<std::size_t>(body) + static_cast<std::size_t>(padding));
  return cipherText;
}

bool pbkdf2Sha1(std::string_view password, Bytes salt, int rounds, std::span<std::uint8_t> key) {
  const bool derived = algorithms().sha1 != nullptr && password.size() <= INT_MAX && salt.size() <= INT_MAX &&
                       PKCS5_PBKDF2_HMAC(password.data(), lengthOf(password.size()), salt.data(), lengthOf(salt.size()),
                                         rounds, algorithms().sha1, lengthOf(key.size()), key.data()) == 1;
  if (!derived) std::fill(key.begin(), key.end(), std::uint8_t{0});
  return derived;
}

int secureRandom(std::span<std::uint8_t> bytes) noexcept {
  for (std::size_t filled = 0; filled < bytes.size();) {
    const ssize_t got = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      const int failure = errno;
      std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
      return failure;
    }
    filled += static_cast<std::size_t>(got);
  }
  return 0;
}

std::string randomUUIDString() {
  std::array<std::uint8_t, 16> bytes{};
  static_cast<void>(secureRandom(bytes));
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 15];
  }
  return text;
}

}  // namespace trovix::platform
