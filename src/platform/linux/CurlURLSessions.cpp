#include "platform/linux/CurlURLSessions.h"

#include <atomic>
#include <utility>

#include "platform/linux/CurlErrors.h"
#include "platform/linux/CurlLoop.h"
#include "platform/linux/LinuxQueues.h"
#include "platform/linux/QueueHub.h"
#include "trovix/platform/Queues.h"

namespace trovix::platform {
namespace {

constexpr std::chrono::seconds stopLimit(2);

/// What a session's tasks share; they outlive the session.
struct SessionState {
  std::shared_ptr<CurlLoop> loop;
  std::shared_ptr<SerialQueue> queue;
  std::shared_ptr<QueueHub> hub;
  RedirectHandler redirectHandler;
  std::atomic<std::uint64_t> lastIdentifier{0};
  std::atomic<bool> isInvalidated{false};
};

class SessionTask : public URLSessionTask {
 public:
  SessionTask(std::uint64_t identifier, std::shared_ptr<const URLRequest> request)
      : identifier_(identifier), request_(std::move(request)) {}
  [[nodiscard]] std::uint64_t taskIdentifier() const override { return identifier_; }
  [[nodiscard]] const URLRequest& originalRequest() const override { return *request_; }

 private:
  const std::uint64_t identifier_;
  const std::shared_ptr<const URLRequest> request_;
};

/// One task on its way through the wire, redirect by redirect. It belongs to one at a time: the wire while a request is
/// out, the session's queue while the redirect handler is asked and for the completion.
class SessionLoad : public CurlLoad, public std::enable_shared_from_this<SessionLoad> {
 public:
  SessionLoad(std::shared_ptr<SessionState> session, std::uint64_t identifier,
              std::shared_ptr<const URLRequest> request, URLSession::Completion completion)
      : session_(std::move(session)),
        identifier_(identifier),
        request_(std::move(request)),
        completion_(std::move(completion)) {
    session_->hub->beginWait();
  }
  ~SessionLoad() override { session_->hub->endWait(); }

  [[nodiscard]] const URLRequest& request() const override { return *request_; }
  [[nodiscard]] CurlExchange::Time begun() const override { return begun_; }

  void ended(URLResult result, const CurlURL* url) override {
    auto next = url != nullptr && result.response ? redirectedRequest(*request_, *url, *result.response) : std::nullopt;
    if (!next) return complete(std::move(result));
    if (++redirects_ > session_->loop->options().maximumRedirects) return fail(urlError::httpTooManyRedirects);
    if (!session_->redirectHandler) return follow(std::move(*next));
    session_->queue->post([self = shared_from_this(), held = std::move(result), proposed = std::move(*next)]() mutable {
      self->ask(std::move(held), std::move(proposed));
    });
  }

  void fail(std::int64_t code) {
    URLResult result;
    result.error = urlLoadingError(code, request_->url);
    complete(std::move(result));
  }

 private:
  void ask(URLResult result, URLRequest proposed) {
    auto chosen = session_->redirectHandler(identifier_, *request_, *result.response, std::move(proposed));
    if (!chosen) return complete(std::move(result));
    follow(std::move(*chosen));
  }

  void follow(URLRequest next) {
    request_ = std::make_shared<const URLRequest>(std::move(next));
    session_->loop->begin(shared_from_this());
  }

  void complete(URLResult result) {
    session_->queue->post([self = shared_from_this(), held = std::move(result)]() mutable {
      const auto completion = std::move(self->completion_);
      if (completion) completion(std::move(held));
    });
  }

  const std::shared_ptr<SessionState> session_;
  const std::uint64_t identifier_;
  const CurlExchange::Time begun_ = std::chrono::steady_clock::now();
  std::shared_ptr<const URLRequest> request_;
  URLSession::Completion completion_;
  int redirects_ = 0;
};

class CurlURLSession : public URLSession {
 public:
  explicit CurlURLSession(std::shared_ptr<SessionState> state) : state_(std::move(state)) {}

  std::shared_ptr<URLSessionTask> startTask(URLRequest request, Completion completion) override {
    const auto shared = std::make_shared<const URLRequest>(std::move(request));
    auto task = std::make_shared<SessionTask>(++state_->lastIdentifier, shared);
    // While the platform shuts down a request that went out would only be sent twice.
    if (!state_->hub->isRunning()) return task;
    auto load = std::make_shared<SessionLoad>(state_, task->taskIdentifier(), shared, std::move(completion));
    if (state_->isInvalidated) {
      load->fail(urlError::cancelled);
    } else {
      state_->loop->begin(std::move(load));
    }
    return task;
  }

  void finishTasksAndInvalidate() override { state_->isInvalidated = true; }

 private:
  const std::shared_ptr<SessionState> state_;
};

std::shared_ptr<URLSession> makeCurlSession(std::shared_ptr<CurlLoop> loop, LinuxQueues& queues,
                                            RedirectHandler handler) {
  auto state = std::make_shared<SessionState>();
  state->loop = std::move(loop);
  state->queue = queues.makeSerialQueue("url-session");
  state->hub = queues.hub();
  state->redirectHandler = std::move(handler);
  return std::make_shared<CurlURLSession>(std::move(state));
}

}  // namespace

CurlURLSessions::CurlURLSessions(CurlOptions options, LinuxQueues& queues)
    : queues_(queues),
      loop_(std::make_shared<CurlLoop>(std::move(options), queues.serialPool())),
      shared_(makeCurlSession(loop_, queues_, nullptr)) {}

CurlURLSessions::~CurlURLSessions() {
  if (queues_.hub()->isOwnProcess()) (void)stopUntil(std::chrono::steady_clock::now() + stopLimit);
}

std::shared_ptr<URLSession> CurlURLSessions::makeSession(RedirectHandler redirectHandler) {
  return makeCurlSession(loop_, queues_, std::move(redirectHandler));
}

std::shared_ptr<URLSession> CurlURLSessions::makeBackgroundSession(const std::string&) { return makeSession(nullptr); }

bool CurlURLSessions::stopUntil(std::chrono::steady_clock::time_point deadline) { return loop_->stopUntil(deadline); }

}  // namespace trovix::platform
