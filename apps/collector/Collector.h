#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::collector {

/// Domain of what start() and setScenario() refuse; the message says what is wrong.
inline constexpr const char* collectorErrorDomain = "example.trovix.collector";
/// Code of a scenario that cannot be read; other failures have 0.
inline constexpr std::int64_t collectorScenarioCode = 1;

/// A loopback stand-in of the tracking servers: answers every endpoint for any host name, over HTTPS with an authority
/// of its own or over plain HTTP, and checks what it is sent. It serves on one thread of its own. Every operation may
/// be called from any thread.
///
/// Each request is recorded as
///
///     {"name": "request", "kind", "method", "url", "host", "path", "query", "headers", "parameters", "checks"}
///
/// "kind" is an endpoint's override name ("Launches", "GCD", ...), or "Other". "host" has no port, "path" is as it was
/// sent, "query" holds the decoded items, "headers" the names as they were spelled. "parameters" is the body: JSON
/// (decrypted when it was encrypted), or the text when it is not JSON; absent without a body. "checks" has what
/// applies: "decrypted" (the body opened with the developer key and held JSON), "checksum" ("cksm_v1" is right; then
/// "flags" has the five facts woven into it), "signature". Nothing applies without a developer key.
///
/// A scenario is a dictionary from a kind, from "host:NAME" or from "*" (every request) to a list of answers. The most
/// particular key that has an answer left decides: host, then kind, then "*"; after them the healthy answer.
/// The lists are used in order. An answer is a dictionary of
///
///     "times"       how often it is given (default 1), or "forever": true
///     "status"      default 200, or 302 with "redirect"
///     "headers"     replace the automatic ones by name, in any case; null leaves one out
///     "body"        text as it is, anything else as JSON
///     "bodyBase64"  bytes
///     "bodySize"    a generated body of that many bytes
///     "redirect"    the address that "Location" names
///     "raw"         text sent in place of a whole response; the connection is closed after it
///     "delay"       seconds before the first byte
///     "drip"        bytes a second
///     "close", "reset"  {"after": bytes of the response} or "beforeHeaders": ends the connection there, in order or
///                   with a reset
///     "tls"         "expired", "wrongHost" or "unknownAuthority": no answer but the certificate of the next handshake
///
/// With a status of 200 and no body given, the healthy body stands in. "tls" answers make a list of their own: a
/// handshake uses the next of them, a request the next of the others. As a handshake knows the host alone, they are
/// looked up under the host, the kinds that live on it, and "*".
class Collector {
 public:
  struct Options {
    std::string listen = "127.0.0.1:0";  ///< address and port; port 0 takes a free one, which a restart keeps
    std::string devKey = {};             ///< empty: bodies stay closed and nothing is checked
    Dictionary scenario = {};
    /// Where the authority is kept ("ca.pem", and its key with mode 0600); made on first use. Empty: a fresh
    /// directory that goes with the collector.
    std::string tlsDirectory = {};
    bool plain = false;  ///< HTTP without TLS
    /// Told of each request before it is answered, on the serving thread.
    std::function<void(const Dictionary&)> onRequest = {};
    /// The latest requests that requests() keeps.
    std::size_t keptRequests = 10'000;
  };

  explicit Collector(Options options);
  /// Stops.
  ~Collector();
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  /// Listens, or says why it cannot. Running already is a success. May follow a stop(); scenario and records go on.
  Status start();
  /// Cuts every connection and frees the port. Not from onRequest.
  void stop();

  /// "127.0.0.1:PORT"; empty before the first start.
  [[nodiscard]] std::string address() const;
  [[nodiscard]] std::uint16_t port() const;
  /// The authority's certificate (PEM); empty when plain or before the first start.
  [[nodiscard]] std::string caFile() const;

  [[nodiscard]] std::vector<Dictionary> requests() const;
  [[nodiscard]] std::vector<Dictionary> requestsOfKind(std::string_view kind) const;
  /// Forgets the requests so far, their counts included.
  void clearRequests();
  /// Waits until that many requests of the kind ("*": of any) have come in all; false when the time is over first.
  bool waitForRequests(std::string_view kind, std::size_t count, std::chrono::milliseconds timeout) const;

  /// Replaces the answers under a scenario key, from the next request on; none: healthy again.
  Status setScenario(std::string_view key, const Array& answers);

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace trovix::collector
