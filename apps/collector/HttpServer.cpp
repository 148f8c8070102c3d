#include "collector/HttpServer.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>
#include <charconv>
#include <optional>
#include <set>
#include <thread>

#include "collector/CollectorError.h"
#include "collector/Response.h"

namespace trovix::collector {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using TlsStream = asio::ssl::stream<tcp::socket>;

constexpr bool isTls(const tcp::socket&) { return false; }
constexpr bool isTls(const TlsStream&) { return true; }

/// What the loop can do to a connection of either sort.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  virtual ~Connection() = default;
  virtual void run() = 0;
  /// Ends it now; every waiting operation returns.
  virtual void abort() = 0;
};

using Connections = std::set<std::shared_ptr<Connection>>;

/// One connection: reads a request, sends its reply, and so on until either side ends it. Lives in the loop's set
/// while it is open, and in the operation that it waits for.
template <typename Stream>
class Session final : public Connection {
 public:
  Session(Stream stream, const HttpServer::Callbacks& callbacks, Connections& connections)
      : stream_(std::move(stream)), timer_(stream_.get_executor()), callbacks_(callbacks), connections_(connections) {}

  void run() override {
    if constexpr (std::is_same_v<Stream, TlsStream>)
      stream_.async_handshake(asio::ssl::stream_base::server, continued([this] { readHead(); }));
    else
      readHead();
  }

  void abort() override {
    error_code ignored;
    timer_.cancel();
    socket().close(ignored);
  }

 private:
  using Parser = http::request_parser<http::string_body>;
  static constexpr std::uint64_t bodyLimit = 64ULL * 1024 * 1024;
  static constexpr std::uint32_t headLimit = 64U * 1024;
  static constexpr std::uint64_t sliceSize = 64ULL * 1024;

  tcp::socket& socket() {
    if constexpr (std::is_same_v<Stream, TlsStream>)
      return stream_.next_layer();
    else
      return stream_;
  }

  // The handler that goes on when the operation succeeded, and lets the connection go when it did not.
  template <typename Next>
  auto continued(Next next) {
    return [this, next, self = shared_from_this()](error_code error, auto...) {
      if (error)
        leave();
      else
        next();
    };
  }

  void leave() {
    abort();
    connections_.erase(shared_from_this());
  }

  void readHead() {
    parser_.emplace();
    parser_->body_limit(bodyLimit);
    parser_->header_limit(headLimit);
    http::async_read_header(stream_, buffer_, *parser_, continued([this] { welcomeBody(); }));
  }

  void welcomeBody() {
    if (parser_->get()[http::field::expect] != "100-continue") return readBody();
    static constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
    asio::async_write(stream_, asio::buffer(goOn), continued([this] { readBody(); }));
  }

  void readBody() {
    http::async_read(stream_, buffer_, *parser_, continued([this] { answer(); }));
  }

  void answer() {
    const bool keepAlive = parser_->keep_alive();
    auto message = parser_->release();
    Request request{.method = std::string(message.method_string()),
                    .target = std::string(message.target()),
                    .headers = {},
                    .body = std::move(message.body()),
                    .secure = isTls(stream_)};
    for (const auto& field : message) request.headers.emplace_back(field.name_string(), field.value());
    Reply reply = callbacks_.reply(request);
    const auto delay = std::chrono::duration_cast<asio::steady_timer::duration>(reply.delay);
    const auto reason = http::obsolete_reason(http::int_to_status(static_cast<unsigned>(reply.status)));
    bytesPerSecond_ = reply.bytesPerSecond;
    position_ = 0;
    response_.emplace(std::move(reply), std::string_view(reason.data(), reason.size()), keepAlive,
                      message.method() != http::verb::head);
    if (delay.count() == 0) return send();
    timer_.expires_after(delay);
    timer_.async_wait(continued([this] { send(); }));
  }

  void send() {
    const auto bytes = response_->slice(position_, nextSize());
    if (bytes.empty()) return finish();
    position_ += bytes.size();
    asio::async_write(stream_, asio::buffer(bytes), continued([this, size = bytes.size()] { pace(size); }));
  }

  // A dripping reply goes out in as many pieces a second as its rate has bytes, twenty at most.
  std::uint64_t nextSize() const {
    return bytesPerSecond_ > 0 ? std::max<std::uint64_t>(1, static_cast<std::uint64_t>(bytesPerSecond_ / 20))
                               : sliceSize;
  }

  void pace(std::size_t size) {
    if (bytesPerSecond_ <= 0) return send();
    const std::chrono::duration<double> pause(static_cast<double>(size) / bytesPerSecond_);
    timer_.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(pause));
    timer_.async_wait(continued([this] { send(); }));
  }

  void finish() {
    if (response_->keepAlive()) return readHead();
    error_code ignored;
    if (response_->reset())
      socket().set_option(asio::socket_base::linger(true, 0), ignored);
    else
      socket().shutdown(tcp::socket::shutdown_both, ignored);
    leave();
  }

  Stream stream_;
  asio::steady_timer timer_;
  const HttpServer::Callbacks& callbacks_;
  Connections& connections_;
  boost::beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  std::optional<Response> response_;
  std::uint64_t position_ = 0;
  double bytesPerSecond_ = 0;
};

Error cannotListen(const std::string& listen, const std::string& why) {
  return collectorError("cannot listen on " + listen + ": " + why);
}

std::optional<tcp::endpoint> endpointOf(std::string_view listen) {
  const std::size_t colon = listen.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view host = listen.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  const std::string_view digits = listen.substr(colon + 1);
  std::uint16_t port = 0;
  const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  error_code error;
  const auto address = asio::ip::make_address(std::string(host), error);
  if (error || status != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return tcp::endpoint(address, port);
}

}  // namespace

class HttpServer::Loop {
 public:
  explicit Loop(Callbacks callbacks)
      : callbacks_(std::move(callbacks)), tls_(asio::ssl::context::tls_server), acceptor_(context_) {}

  ~Loop() {
    if (!thread_.joinable()) return;
    asio::post(context_, [this] {
      error_code ignored;
      acceptor_.close(ignored);
      retry_.cancel();
      for (const auto& connection : connections_) connection->abort();
    });
    thread_.join();
  }

  error_code listen(const tcp::endpoint& endpoint) {
    error_code error;
    if (acceptor_.open(endpoint.protocol(), error)) return error;
    if (acceptor_.set_option(tcp::acceptor::reuse_address(true), error)) return error;
    if (acceptor_.bind(endpoint, error)) return error;
    acceptor_.listen(tcp::acceptor::max_listen_connections, error);
    return error;
  }

  [[nodiscard]] tcp::endpoint endpoint() const { return acceptor_.local_endpoint(); }

  void run() {
    if (callbacks_.certificate) prepareTlsContext(tls_.native_handle(), callbacks_.certificate);
    accept();
    thread_ = std::thread([this] { context_.run(); });
  }

 private:
  void accept() {
    acceptor_.async_accept([this](error_code error, tcp::socket socket) {
      if (!acceptor_.is_open()) return;
      if (!error) {
        serve(std::move(socket));
        return accept();
      }
      // Out of descriptors, say: the same error would come at once.
      retry_.expires_after(std::chrono::milliseconds(10));
      retry_.async_wait([this](error_code) {
        if (acceptor_.is_open()) accept();
      });
    });
  }

  void serve(tcp::socket socket) {
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    std::shared_ptr<Connection> connection;
    if (callbacks_.certificate)
      connection = std::make_shared<Session<TlsStream>>(TlsStream(std::move(socket), tls_), callbacks_, connections_);
    else
      connection = std::make_shared<Session<tcp::socket>>(std::move(socket), callbacks_, connections_);
    connections_.insert(connection);
    connection->run();
  }

  const Callbacks callbacks_;
  asio::io_context context_{1};
  asio::ssl::context tls_;
  tcp::acceptor acceptor_;
  asio::steady_timer retry_{context_};
  Connections connections_;
  std::thread thread_;
};

HttpServer::HttpServer() = default;
HttpServer::~HttpServer() = default;

Result<std::unique_ptr<HttpServer>> HttpServer::start(const std::string& listen, Callbacks callbacks) {
  const auto endpoint = endpointOf(listen);
  if (!endpoint) return cannotListen(listen, "not ADDRESS:PORT");
  auto loop = std::make_unique<Loop>(std::move(callbacks));
  if (const error_code error = loop->listen(*endpoint)) return cannotListen(listen, error.message());
  std::unique_ptr<HttpServer> server(new HttpServer());
  server->port_ = loop->endpoint().port();
  const std::string host = endpoint->address().to_string();
  server->address_ = (endpoint->address().is_v6() ? "[" + host + "]" : host) + ":" + std::to_string(server->port_);
  loop->run();
  server->loop_ = std::move(loop);
  return server;
}

}  // namespace trovix::collector
