#include "collector/Authority.h"

#include <fcntl.h>
#include <openssl/ssl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <unordered_map>

#include "collector/Certificates.h"
#include "collector/CollectorError.h"

namespace trovix::collector {
namespace {

// Held while a directory's authority is read or made.
class DirectoryLock {
 public:
  explicit DirectoryLock(const std::string& directory)
      : descriptor_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (descriptor_ >= 0) ::flock(descriptor_, LOCK_EX);
  }
  ~DirectoryLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

 private:
  int descriptor_;
};

// What may stand in a certificate without being read as more than one name.
bool isHostName(std::string_view host) {
  const auto fits = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_';
  };
  return !host.empty() && host.size() <= 253 && std::ranges::all_of(host, fits);
}

constexpr const char* loopbackNames = "DNS:localhost,IP:127.0.0.1,IP:::1";

}  // namespace

struct Authority::Keys {
  Issuer issuer;
  Issuer stranger;  // nobody trusts it
  PrivateKey leafKey;
  std::unordered_map<std::string, Certificate> leaves;

  X509* leaf(const std::string& names);
  Certificate faultyLeaf(const std::string& names, CertificateFault fault) const;
};

X509* Authority::Keys::leaf(const std::string& names) {
  constexpr std::size_t keptLeaves = 4096;
  if (leaves.size() >= keptLeaves) leaves.clear();
  Certificate& kept = leaves[names];
  if (kept == nullptr) kept = makeLeaf(issuer, leafKey.get(), names, false);
  return kept.get();
}

Certificate Authority::Keys::faultyLeaf(const std::string& names, CertificateFault fault) const {
  switch (fault) {
    case CertificateFault::expired:
      return makeLeaf(issuer, leafKey.get(), names, true);
    case CertificateFault::wrongHost:
      return makeLeaf(issuer, leafKey.get(), "DNS:somebody-else.invalid", false);
    case CertificateFault::unknownAuthority:
      return makeLeaf(stranger, leafKey.get(), names, false);
    case CertificateFault::none:
      break;
  }
  return nullptr;
}

Authority::Authority(std::string caFile, std::unique_ptr<Keys> keys)
    : caFile_(std::move(caFile)), keys_(std::move(keys)) {}

Authority::~Authority() = default;

Result<std::unique_ptr<Authority>> Authority::open(const std::string& directory) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return collectorError("cannot make the directory " + directory + ": " + error.message());
  const std::string caFile = directory + "/ca.pem";
  const std::string keyFile = directory + "/ca-key.pem";
  auto keys = std::make_unique<Keys>();
  {
    const DirectoryLock lock(directory);
    keys->issuer = readIssuer(caFile, keyFile);
    if (!keys->issuer) {
      keys->issuer = makeIssuer();
      if (!keys->issuer || !writeIssuer(keys->issuer, caFile, keyFile))
        return collectorError("cannot keep a certificate authority in " + directory);
    }
  }
  keys->stranger = makeIssuer();
  keys->leafKey = makeKey();
  if (!keys->stranger || keys->leafKey == nullptr) return collectorError("cannot make keys");
  return std::unique_ptr<Authority>(new Authority(caFile, std::move(keys)));
}

bool Authority::present(SSL* connection, std::string_view host, CertificateFault fault) {
  const std::string names = isHostName(host) ? "DNS:" + std::string(host) + "," + loopbackNames : loopbackNames;
  const Certificate faulty = keys_->faultyLeaf(names, fault);
  X509* const certificate = fault == CertificateFault::none ? keys_->leaf(names) : faulty.get();
  return certificate != nullptr && SSL_use_certificate(connection, certificate) == 1 &&
         SSL_use_PrivateKey(connection, keys_->leafKey.get()) == 1;
}

}  // namespace trovix::collector
