#include <atomic>
#include <utility>

#include "common/Log.h"
#include "common/Version.h"
#include "network/TrovixHTTPClient.h"
#include "trovix/platform/BackgroundTasks.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/Queues.h"

// Uploads that go on while the application is in the background.
namespace trovix {
namespace {

/// The platform's task around one upload, ended once: by the answer or by its expiry, which may even come before the
/// number is known.
class BackgroundTask : public std::enable_shared_from_this<BackgroundTask> {
 public:
  BackgroundTask(platform::BackgroundTasks& tasks, std::string client) : tasks_(tasks), client_(std::move(client)) {}

  void begin() {
    number_ = tasks_.begin([self = shared_from_this()] { self->expire(); });
    if (isExpired_) end();
  }
  void end() {
    if (const std::uint64_t number = number_.exchange(0); number != 0) tasks_.end(number);
  }
  [[nodiscard]] std::uint64_t number() const noexcept { return number_; }
  [[nodiscard]] const std::string& client() const noexcept { return client_; }

 private:
  void expire() {
    TX_LOG(trace, "{} background task {} cut short", client_, number());
    isExpired_ = true;
    end();
  }

  platform::BackgroundTasks& tasks_;
  const std::string client_;
  std::atomic<std::uint64_t> number_{0};
  std::atomic<bool> isExpired_{false};
};

void upload(const std::shared_ptr<BackgroundTask>& task, platform::URLSession& session, platform::URLRequest request) {
  TX_LOG(trace, "{} starting background task {}", task->client(), task->number());
  session.startTask(std::move(request), [task](const platform::URLResult& result) {
    if (!result.error) TX_LOG(trace, "Response 200 ok.");
    TX_LOG(trace, "{} ending background task {}", task->client(), task->number());
    task->end();
  });
}

}  // namespace

void TrovixHTTPClient::sendRequestWithConfiguration(const std::string& URL, const std::string& data) {
  platform::URLRequest request;
  request.url = URL;
  request.method = "POST";
  request.headers.set("Content-Type", "application/text");
  request.body = Data(data.begin(), data.end());
  if (hasSystemVersion9()) {
    backgroundCallWithRequest(std::move(request));
  } else if (const auto session = bgSession()) {
    session->startTask(std::move(request), [](const platform::URLResult&) {});
  } else {
    TX_LOG(trace, "WARN: bgSession is nil");
  }
}

bool TrovixHTTPClient::hasSystemVersion9() const {
  return platform_.device.systemVersion().value_or("").starts_with('9');
}

std::shared_ptr<platform::URLSession> TrovixHTTPClient::bgSession() {
  std::call_once(bgSessionOnce_, [this] {
    if (!hasSystemVersion9()) bgSession_ = platform_.urlSessions.makeBackgroundSession(reverseDNSIdentifier);
  });
  return bgSession_;
}

void TrovixHTTPClient::backgroundCallWithRequest(platform::URLRequest request) {
  const auto task = std::make_shared<BackgroundTask>(
      platform_.backgroundTasks, fmt::format("<TrovixHTTPClient: {}>", static_cast<const void*>(this)));
  task->begin();
  const std::uint64_t number = task->number();
  platform_.queues.globalQueue().post([task, &sessions = platform_.urlSessions, request = std::move(request)] {
    upload(task, sessions.shared(), request);
  });
  TX_LOG(debug, "{} dispatched background task {}", task->client(), number);
}

}  // namespace trovix
