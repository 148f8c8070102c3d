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

/// A loopback stand-in of the tracking servers: answers every endpoint for any host name, over HTTPS with an authority
/// of its own or over plain HTTP, and checks what it is sent. It serves on one thread of its own. Every operation may
/// be called from any thread.
///
/// docs/collector.md tells what the record of a request holds and what a scenario may say.
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
