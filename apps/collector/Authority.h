#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "collector/Request.h"
#include "trovix/Error.h"

using SSL = struct ssl_st;

namespace trovix::collector {

/// A certificate authority for every host name: keeps itself in a directory and makes certificates as handshakes ask
/// for them. present() belongs to one thread.
class Authority {
 public:
  /// Reads the authority kept in the directory ("ca.pem", "ca-key.pem"), or makes it there. Processes that share the
  /// directory share the authority.
  static Result<std::unique_ptr<Authority>> open(const std::string& directory);
  ~Authority();

  [[nodiscard]] const std::string& caFile() const noexcept { return caFile_; }

  /// Gives the connection the host's certificate, or a faulty one; false when that fails. An empty host or an address
  /// is answered as "localhost".
  bool present(SSL* connection, std::string_view host, CertificateFault fault);

 private:
  struct Keys;
  Authority(std::string caFile, std::unique_ptr<Keys> keys);

  std::string caFile_;
  std::unique_ptr<Keys> keys_;
};

}  // namespace trovix::collector
