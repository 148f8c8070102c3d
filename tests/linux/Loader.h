#pragma once

#include <future>

#include "collector/Collector.h"
#include "platform/linux/CurlURLSessions.h"
#include "platform/linux/LinuxQueues.h"
#include "support/Testing.h"

namespace trovix::platform {

inline URLRequest to(const std::string& url, const std::string& method = "GET", const std::string& body = "") {
  URLRequest request{.url = url, .method = method};
  if (!body.empty()) request.body = Data(body.begin(), body.end());
  return request;
}

/// Starts a task and waits for its end.
inline URLResult load(URLSession& session, URLRequest request) {
  std::promise<URLResult> promise;
  session.startTask(std::move(request), [&](URLResult result) { promise.set_value(std::move(result)); });
  return promise.get_future().get();
}

/// The status, or the code of the failure.
inline std::int64_t codeOf(const URLResult& result) {
  if (result.error) return result.error->domain() == urlErrorDomain ? result.error->code() : 0;
  return result.response->statusCode;
}

inline std::string bodyOf(const URLResult& result) { return {result.data.begin(), result.data.end()}; }

/// A client over the real sessions.
struct Loader {
  explicit Loader(CurlOptions options = {}) : sessions(std::move(options), queues) {}
  /// Every host is the collector, and its authority is trusted.
  explicit Loader(const collector::Collector& server)
      : Loader(CurlOptions{.connectTo = server.address(), .certificateAuthorityFile = server.caFile()}) {}
  URLResult operator()(URLRequest request) { return load(sessions.shared(), std::move(request)); }

  LinuxQueues queues{MainQueueMode::hostLoop, nullptr};
  CurlURLSessions sessions;
};

}  // namespace trovix::platform
