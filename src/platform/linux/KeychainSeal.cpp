#include "platform/linux/KeychainSeal.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <span>

#include "platform/Crypto.h"
#include "platform/Text.h"
#include "trovix/platform/SystemLog.h"

namespace trovix::platform {
namespace {

constexpr std::uint8_t version = 1;
constexpr std::size_t nonceSize = 12;
constexpr std::size_t tagSize = 16;
constexpr std::size_t overhead = 1 + nonceSize + tagSize;
constexpr std::size_t maximumSize = std::size_t{1024} * 1024;

struct FreeContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

/// The file's 32 bytes, or errno; EINVAL for another size.
int readKey(const std::string& path, SealingKey& key) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return errno;
  std::array<std::uint8_t, std::tuple_size_v<SealingKey> + 1> buffer{};
  const ssize_t count = ::read(file, buffer.data(), buffer.size());
  const int failure = count < 0 ? errno : 0;
  ::close(file);
  if (failure != 0) return failure;
  if (count != static_cast<ssize_t>(key.size())) return EINVAL;
  std::copy_n(buffer.begin(), key.size(), key.begin());
  return 0;
}

/// The name is taken when another process was first, whose key is the one that counts. Not every file system has links,
/// nor a rename that replaces nothing.
void giveNameUnlessTaken(const char* draft, const char* path) {
  if (::link(draft, path) == 0 || errno == EEXIST) return;
  if (::renameat2(AT_FDCWD, draft, AT_FDCWD, path, RENAME_NOREPLACE) == 0 || errno == EEXIST) return;
  ::rename(draft, path);
}

/// Makes a key under a name of its own first, so that another process never sees a part of it.
void makeKey(const std::string& path) {
  SealingKey key{};
  if (secureRandom(key) != 0) return;
  std::string draft = path + ".XXXXXX";
  const int file = ::mkostemp(draft.data(), O_CLOEXEC);
  if (file < 0) return;
  const bool written = ::write(file, key.data(), key.size()) == static_cast<ssize_t>(key.size());
  ::close(file);
  if (written) giveNameUnlessTaken(draft.c_str(), path.c_str());
  ::unlink(draft.c_str());
}

}  // namespace

std::optional<Data> sealValue(const SealingKey& key, const Data& plain, std::string_view owner) {
  if (plain.size() > maximumSize || owner.size() > maximumSize) return std::nullopt;
  Data sealed(overhead + plain.size());
  sealed[0] = version;
  unsigned char* nonce = sealed.data() + 1;
  unsigned char* text = nonce + nonceSize;
  if (secureRandom(std::span(nonce, nonceSize)) != 0) return std::nullopt;
  const Context context(EVP_CIPHER_CTX_new());
  int size = 0;
  const bool done =
      context != nullptr && EVP_EncryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.data(), nonce, nullptr) == 1 &&
      EVP_EncryptUpdate(context.get(), nullptr, &size, bytesOf(owner).data(), static_cast<int>(owner.size())) == 1 &&
      EVP_EncryptUpdate(context.get(), text, &size, plain.data(), static_cast<int>(plain.size())) == 1 &&
      EVP_EncryptFinal_ex(context.get(), text + plain.size(), &size) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, text + plain.size()) == 1;
  return done ? std::optional(std::move(sealed)) : std::nullopt;
}

std::optional<Data> openSeal(const SealingKey& key, const Data& sealed, std::string_view owner) {
  if (sealed.size() < overhead || sealed.size() > overhead + maximumSize || owner.size() > maximumSize ||
      sealed[0] != version) {
    return std::nullopt;
  }
  const unsigned char* nonce = sealed.data() + 1;
  const unsigned char* text = nonce + nonceSize;
  Data plain(sealed.size() - overhead);
  std::array<unsigned char, tagSize> tag{};
  std::copy_n(text + plain.size(), tagSize, tag.begin());
  const Context context(EVP_CIPHER_CTX_new());
  // Final never writes here, but wants a place.
  std::array<unsigned char, EVP_MAX_BLOCK_LENGTH> rest{};
  int size = 0;
  const bool done =
      context != nullptr && EVP_DecryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.data(), nonce, nullptr) == 1 &&
      EVP_DecryptUpdate(context.get(), nullptr, &size, bytesOf(owner).data(), static_cast<int>(owner.size())) == 1 &&
      EVP_DecryptUpdate(context.get(), plain.data(), &size, text, static_cast<int>(plain.size())) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()) == 1 &&
      EVP_DecryptFinal_ex(context.get(), rest.data(), &size) == 1;
  return done ? std::optional(std::move(plain)) : std::nullopt;
}

std::optional<SealingKey> readOrMakeSealingKey(const std::string& path, SystemLog& log) {
  SealingKey key{};
  int failure = readKey(path, key);
  if (failure == EINVAL) {
    const std::string name = fmt::format("{}.corrupt-{}", path, std::time(nullptr));
    if (::rename(path.c_str(), name.c_str()) == 0) {
      failure = ENOENT;
      log.write(fmt::format("Damaged key {} set aside as {}", path, name));
    }
  }
  if (failure == ENOENT) {
    makeKey(path);
    failure = readKey(path, key);
  }
  return failure == 0 ? std::optional(key) : std::nullopt;
}

}  // namespace trovix::platform
