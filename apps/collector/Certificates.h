#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace trovix::collector {

template <auto Free>
struct Freed {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
using PrivateKey = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;

/// A certificate and the key that signs with it.
struct Issuer {
  Certificate certificate;
  PrivateKey key;

  explicit operator bool() const { return certificate != nullptr && key != nullptr; }
};

/// A new P-256 key; null when the library fails.
[[nodiscard]] PrivateKey makeKey();
/// A new authority, good for ten years; false when the library fails.
[[nodiscard]] Issuer makeIssuer();

/// A certificate for the public half of `key`, good for a year, or expired since a day; null when the library fails.
/// `alternativeNames` is in the form "DNS:example.test,IP:127.0.0.1".
[[nodiscard]] Certificate makeLeaf(const Issuer& issuer, EVP_PKEY* key, const std::string& alternativeNames,
                                   bool expired);

/// Reads both files; false when one is missing or unreadable, they do not belong together, or it has expired.
[[nodiscard]] Issuer readIssuer(const std::string& certificateFile, const std::string& keyFile);
/// Writes both, the key readable by its owner alone; false when that fails.
[[nodiscard]] bool writeIssuer(const Issuer& issuer, const std::string& certificateFile, const std::string& keyFile);

}  // namespace trovix::collector
