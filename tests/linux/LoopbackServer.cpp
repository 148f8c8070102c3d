#include "linux/LoopbackServer.h"

#include <arpa/inet.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace trovix::test {

struct LoopbackServer::Tls {
  SSL_CTX* context = SSL_CTX_new(TLS_server_method());
  ~Tls() { SSL_CTX_free(context); }

  void certify(const std::string& host, const std::string& file) {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    X509_set_version(certificate, 2);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    auto* name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(host.c_str()), -1, -1,
                               0);
    X509_set_issuer_name(certificate, name);
    X509_EXTENSION* names = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, ("DNS:" + host).c_str());
    X509_add_ext(certificate, names, -1);
    X509_sign(certificate, key, EVP_sha256());
    SSL_CTX_use_certificate(context, certificate);
    SSL_CTX_use_PrivateKey(context, key);
    std::FILE* out = std::fopen(file.c_str(), "w");
    PEM_write_X509(out, certificate);
    std::fclose(out);
    X509_EXTENSION_free(names);
    X509_free(certificate);
    EVP_PKEY_free(key);
  }
};

LoopbackServer::LoopbackServer(Handler handler, const std::string& tlsHost) : handler_(std::move(handler)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof local;
  ::bind(listener_, reinterpret_cast<sockaddr*>(&local), size);
  ::listen(listener_, 16);
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&local), &size);
  port_ = ntohs(local.sin_port);
  if (!tlsHost.empty()) {
    certificateFile_ = "loopback-" + std::to_string(::getpid()) + "-" + std::to_string(port_) + ".pem";
    tls_ = std::make_unique<Tls>();
    tls_->certify(tlsHost, certificateFile_);
  }
  acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  ::close(listener_);
  {
    const std::scoped_lock lock(mutex_);
    for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
  }
  for (auto& thread : threads_) thread.join();
  for (const int socket : sockets_) ::close(socket);
  if (!certificateFile_.empty()) ::unlink(certificateFile_.c_str());
}

std::vector<std::string> LoopbackServer::requests() const {
  const std::scoped_lock lock(mutex_);
  return requests_;
}

void LoopbackServer::accept() {
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    ++connections_;
    const std::scoped_lock lock(mutex_);
    sockets_.push_back(socket);
    threads_.emplace_back([this, socket] { serve(socket); });
  }
}

void LoopbackServer::serve(int socket) {
  // A client that refuses the certificate hangs up while OpenSSL still writes.
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  const std::unique_ptr<SSL, void (*)(SSL*)> ssl(tls_ ? SSL_new(tls_->context) : nullptr, SSL_free);
  if (ssl && (SSL_set_fd(ssl.get(), socket) != 1 || SSL_accept(ssl.get()) != 1)) return;
  std::string buffer;
  char chunk[4096];
  const auto receive = [&] {
    const auto size = ssl ? SSL_read(ssl.get(), chunk, sizeof chunk) : ::recv(socket, chunk, sizeof chunk, 0);
    if (size > 0) buffer.append(chunk, static_cast<std::size_t>(size));
    return size > 0;
  };
  for (;;) {
    std::size_t end = buffer.find("\r\n\r\n");
    if (end == std::string::npos) {
      if (!receive()) return;
      continue;
    }
    const auto length = buffer.find("Content-Length: ");
    end += 4 + (length < end ? std::stoul(buffer.substr(length + 16)) : 0);
    while (buffer.size() < end) {
      if (!receive()) return;
    }
    const std::string request = buffer.substr(0, end);
    buffer.erase(0, end);
    {
      const std::scoped_lock lock(mutex_);
      requests_.push_back(request);
    }
    const Reply reply = handler_(request);
    const auto& bytes = reply.bytes;
    if (!bytes.empty() && ssl) SSL_write(ssl.get(), bytes.data(), static_cast<int>(bytes.size()));
    if (!bytes.empty() && !ssl) ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (reply.then == Reply::Then::keep) continue;
    if (reply.then == Reply::Then::reset) {
      const linger hard{1, 0};
      ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
      // Disconnecting an unspecified address sends the reset and leaves the descriptor to its owner.
      const sockaddr none{AF_UNSPEC, {}};
      ::connect(socket, &none, sizeof none);
      return;
    }
    ::shutdown(socket, SHUT_RDWR);
    return;
  }
}

}  // namespace trovix::test
