#pragma once

#include <netinet/in.h>

#include <string>

namespace trovix::torture {

/// A TCP server that never says a word.
class SilentServer {
 public:
  SilentServer();
  ~SilentServer();
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  [[nodiscard]] std::string address() const;
  /// Takes the only place of the queue, so that whoever connects now waits.
  void fill();
  /// Whether somebody waits for the connection.
  [[nodiscard]] bool hasConnecting() const;
  /// Whether somebody is connected and has begun to speak.
  [[nodiscard]] bool hasSpeaking();

 private:
  const int listener_;
  int filler_ = -1;
  int accepted_ = -1;
  sockaddr_in where_{};
};

}  // namespace trovix::torture
