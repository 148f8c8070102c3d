#include "torture/SilentServer.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

namespace trovix::torture {

SilentServer::SilentServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  where_.sin_family = AF_INET;
  where_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof where_;
  ::bind(listener_, reinterpret_cast<const sockaddr*>(&where_), size);
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&where_), &size);
  ::listen(listener_, 0);
}

SilentServer::~SilentServer() {
  for (const int file : {listener_, filler_, accepted_}) {
    if (file >= 0) ::close(file);
  }
}

std::string SilentServer::address() const { return fmt::format("127.0.0.1:{}", ntohs(where_.sin_port)); }

void SilentServer::fill() {
  filler_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ::connect(filler_, reinterpret_cast<const sockaddr*>(&where_), sizeof where_);
}

bool SilentServer::hasConnecting() const {
  const std::string peer = fmt::format(":{:04X} 02 ", ntohs(where_.sin_port));
  std::ifstream connections("/proc/net/tcp");
  std::string line;
  while (std::getline(connections, line)) {
    if (line.find(peer) != std::string::npos) return true;
  }
  return false;
}

bool SilentServer::hasSpeaking() {
  pollfd waiting{.fd = accepted_ < 0 ? listener_ : accepted_, .events = POLLIN, .revents = 0};
  if (::poll(&waiting, 1, 0) <= 0) return false;
  if (accepted_ >= 0) return true;
  accepted_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  return false;
}

}  // namespace trovix::torture
