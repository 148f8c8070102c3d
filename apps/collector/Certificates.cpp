#include "collector/Certificates.h"

#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <cstdio>

namespace trovix::collector {
namespace {

constexpr long day = 24L * 60 * 60;

bool addExtension(X509* certificate, X509* issuer, int type, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Freed<X509_EXTENSION_free>> extension(
      X509V3_EXT_conf_nid(nullptr, &context, type, value));
  return extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1;
}

// Clients refuse two certificates of one issuer with the same number.
bool giveSerialNumber(X509* certificate) {
  const std::unique_ptr<BIGNUM, Freed<BN_free>> number(BN_new());
  return number != nullptr && BN_rand(number.get(), 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
         BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr;
}

Certificate makeCertificate(EVP_PKEY* key, const char* name, long from, long until) {
  Certificate certificate(X509_new());
  if (certificate == nullptr) return nullptr;
  X509_NAME* subject = X509_get_subject_name(certificate.get());
  const bool made = X509_set_version(certificate.get(), X509_VERSION_3) == 1 && giveSerialNumber(certificate.get()) &&
                    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), from) != nullptr &&
                    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), until) != nullptr &&
                    X509_set_pubkey(certificate.get(), key) == 1 &&
                    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0) == 1;
  return made ? std::move(certificate) : nullptr;
}

using File = std::unique_ptr<std::FILE, Freed<std::fclose>>;

// A new file takes the old one's place whole.
template <typename Write>
bool replaceFile(const std::string& path, mode_t mode, Write write) {
  const std::string fresh = path + ".new";
  ::unlink(fresh.c_str());
  const int descriptor = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (descriptor < 0) return false;
  File file(::fdopen(descriptor, "w"));
  if (file == nullptr) return ::close(descriptor), false;
  if (!write(file.get()) || std::fflush(file.get()) != 0) return false;
  return std::rename(fresh.c_str(), path.c_str()) == 0;
}

}  // namespace

PrivateKey makeKey() { return PrivateKey(EVP_EC_gen("P-256")); }

Issuer makeIssuer() {
  PrivateKey key = makeKey();
  if (key == nullptr) return {};
  Certificate certificate = makeCertificate(key.get(), "trovix-collector authority", -day, 3650 * day);
  X509* const raw = certificate.get();
  if (raw == nullptr || X509_set_issuer_name(raw, X509_get_subject_name(raw)) != 1 ||
      !addExtension(raw, raw, NID_basic_constraints, "critical,CA:TRUE") ||
      !addExtension(raw, raw, NID_key_usage, "critical,keyCertSign,cRLSign") ||
      !addExtension(raw, raw, NID_subject_key_identifier, "hash") || X509_sign(raw, key.get(), EVP_sha256()) <= 0)
    return {};
  return {std::move(certificate), std::move(key)};
}

Certificate makeLeaf(const Issuer& issuer, EVP_PKEY* key, const std::string& alternativeNames, bool expired) {
  Certificate certificate =
      makeCertificate(key, "trovix-collector", expired ? -30 * day : -day, expired ? -day : 365 * day);
  X509* const raw = certificate.get();
  X509* const authority = issuer.certificate.get();
  if (raw == nullptr || X509_set_issuer_name(raw, X509_get_subject_name(authority)) != 1 ||
      !addExtension(raw, authority, NID_basic_constraints, "critical,CA:FALSE") ||
      !addExtension(raw, authority, NID_ext_key_usage, "serverAuth") ||
      !addExtension(raw, authority, NID_authority_key_identifier, "keyid") ||
      !addExtension(raw, authority, NID_subject_alt_name, alternativeNames.c_str()) ||
      X509_sign(raw, issuer.key.get(), EVP_sha256()) <= 0)
    return nullptr;
  return certificate;
}

Issuer readIssuer(const std::string& certificateFile, const std::string& keyFile) {
  const File certificate(std::fopen(certificateFile.c_str(), "re"));
  const File key(std::fopen(keyFile.c_str(), "re"));
  if (certificate == nullptr || key == nullptr) return {};
  Issuer issuer{Certificate(PEM_read_X509(certificate.get(), nullptr, nullptr, nullptr)),
                PrivateKey(PEM_read_PrivateKey(key.get(), nullptr, nullptr, nullptr))};
  if (!issuer || X509_check_private_key(issuer.certificate.get(), issuer.key.get()) != 1 ||
      X509_cmp_current_time(X509_get0_notAfter(issuer.certificate.get())) <= 0)
    return {};
  return issuer;
}

bool writeIssuer(const Issuer& issuer, const std::string& certificateFile, const std::string& keyFile) {
  return replaceFile(keyFile, 0600,
                     [&](std::FILE* file) {
                       return PEM_write_PrivateKey(file, issuer.key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1;
                     }) &&
         replaceFile(certificateFile, 0644,
                     [&](std::FILE* file) { return PEM_write_X509(file, issuer.certificate.get()) == 1; });
}

}  // namespace trovix::collector
