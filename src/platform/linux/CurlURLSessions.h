#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/linux/CurlOptions.h"
#include "trovix/platform/URLSession.h"

namespace trovix::platform {

class CurlLoop;
class LinuxQueues;

/// Sessions over libcurl. The thread of the serial queues drives the wire as well, so a request that a task starts and
/// the completion that follows it cost no wake-up, and the queues' second thread drives it past a task that does not
/// return. Completions and redirect questions run on a serial queue of their session. Cookies are off and nothing is
/// cached.
class CurlURLSessions : public URLSessions {
 public:
  CurlURLSessions(CurlOptions options, LinuxQueues& queues);
  /// Stops, within two seconds, unless that was done.
  ~CurlURLSessions() override;

  [[nodiscard]] URLSession& shared() override { return *shared_; }
  [[nodiscard]] std::shared_ptr<URLSession> makeSession(RedirectHandler redirectHandler) override;
  /// Linux lets a process in the background load on, so this is a session like any other.
  [[nodiscard]] std::shared_ptr<URLSession> makeBackgroundSession(const std::string& identifier) override;

  /// Abandons what is on the wire: no completion is called any more. False when that took too long.
  bool stopUntil(std::chrono::steady_clock::time_point deadline);

 private:
  LinuxQueues& queues_;
  const std::shared_ptr<CurlLoop> loop_;
  const std::shared_ptr<URLSession> shared_;
};

}  // namespace trovix::platform
