#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "collector/Request.h"
#include "collector/TlsContext.h"
#include "trovix/Error.h"

namespace trovix::collector {

/// Listens, reads requests and sends replies as they ask to be sent. One thread of its own, on which both callbacks
/// run.
class HttpServer {
 public:
  struct Callbacks {
    std::function<Reply(const Request&)> reply;
    CertificateChooser certificate;  ///< without one, connections are plain
  };

  /// Listens on "ADDRESS:PORT".
  static Result<std::unique_ptr<HttpServer>> start(const std::string& listen, Callbacks callbacks);
  /// Cuts every connection and waits for the thread.
  ~HttpServer();

  /// "ADDRESS:PORT", with the port that was taken.
  [[nodiscard]] const std::string& address() const noexcept { return address_; }
  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

 private:
  class Loop;
  HttpServer();

  std::unique_ptr<Loop> loop_;
  std::string address_;
  std::uint16_t port_ = 0;
};

}  // namespace trovix::collector
