#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace trovix::test {

/// What the server sends, which may be nothing, and what it does with the connection then.
struct Reply {
  enum class Then { keep, close, reset };
  std::string bytes;
  Then then = Then::keep;
};

/// A whole answer with its length.
[[nodiscard]] inline Reply answer(const std::string& status, const std::string& fields = "",
                                  const std::string& body = "") {
  return {"HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + fields + "\r\n" +
          body};
}

/// An HTTP/1.1 server on a loopback port, a thread for every connection. With a host name it speaks TLS, with a
/// certificate of its own for that name.
class LoopbackServer {
 public:
  using Handler = std::function<Reply(const std::string& request)>;

  explicit LoopbackServer(Handler handler, const std::string& tlsHost = "");
  ~LoopbackServer();

  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  [[nodiscard]] std::string url(const std::string& path) const { return "http://" + address() + path; }
  [[nodiscard]] const std::string& certificateFile() const { return certificateFile_; }
  [[nodiscard]] std::vector<std::string> requests() const;
  [[nodiscard]] int connections() const { return connections_; }

 private:
  struct Tls;

  void accept();
  void serve(int socket);

  const Handler handler_;
  std::string certificateFile_;
  std::unique_ptr<Tls> tls_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<int> connections_{0};
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::vector<int> sockets_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

}  // namespace trovix::test
