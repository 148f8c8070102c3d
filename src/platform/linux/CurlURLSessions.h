#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/linux/CurlExchange.h"
#include "trovix/platform/URLSession.h"

namespace trovix::platform {

class CurlLoop;
class QueueHub;
class Queues;

/// Sessions over libcurl. All share one I/O thread with its connections. Completions and redirect questions run on a
/// serial queue of their session, never on the I/O thread, so that a slow one holds up no transfer; on the way back to
/// another serial queue that costs nothing, since serial queues share a thread. Cookies are off and nothing is cached.
class CurlURLSessions : public URLSessions {
 public:
  CurlURLSessions(CurlOptions options, Queues& queues, std::shared_ptr<QueueHub> hub);
  /// Stops, within two seconds, unless that was done.
  ~CurlURLSessions() override;

  [[nodiscard]] URLSession& shared() override { return *shared_; }
  [[nodiscard]] std::shared_ptr<URLSession> makeSession(RedirectHandler redirectHandler) override;
  /// Linux lets a process in the background load on, so this is a session like any other.
  [[nodiscard]] std::shared_ptr<URLSession> makeBackgroundSession(const std::string& identifier) override;

  /// Abandons what is on the wire: no completion is called any more. Answers whether the I/O thread ended in time.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);

 private:
  Queues& queues_;
  const std::shared_ptr<QueueHub> hub_;
  const std::shared_ptr<CurlLoop> loop_;
  const std::shared_ptr<URLSession> shared_;
};

}  // namespace trovix::platform
