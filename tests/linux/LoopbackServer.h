#pragma once

#include <mutex>

#include "collector/HttpServer.h"
#include "support/Testing.h"

namespace trovix::test {

using collector::Reply;
using collector::Request;

/// An HTTP server on a loopback port, and what it was asked. The replies are made on the server's own thread.
class LoopbackServer {
 public:
  explicit LoopbackServer(std::function<Reply(const Request&)> reply)
      : reply_(std::move(reply)),
        server_(collector::HttpServer::start("127.0.0.1:0", {[this](const Request& request) {
                                                               const std::scoped_lock lock(mutex_);
                                                               requests_.push_back(request);
                                                               return reply_(request);
                                                             },
                                                             nullptr})
                    .value()) {}

  std::string url(const std::string& path) const { return "http://" + server_->address() + path; }
  std::vector<Request> requests() const {
    const std::scoped_lock lock(mutex_);
    return requests_;
  }

 private:
  const std::function<Reply(const Request&)> reply_;
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
  const std::unique_ptr<collector::HttpServer> server_;
};

}  // namespace trovix::test
