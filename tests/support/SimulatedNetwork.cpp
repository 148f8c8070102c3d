#include "support/SimulatedNetwork.h"

#include <algorithm>

#include "platform/Url.h"

namespace trovix::test {

namespace urlError = platform::urlError;
using platform::URLRequest;
using platform::URLResponse;
using platform::URLResult;

namespace {

constexpr int kMaximumRedirects = 16;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

std::chrono::nanoseconds nanoseconds(double seconds) {
  return std::chrono::nanoseconds(saturatingInteger(seconds * 1e9));
}

URLResult failed(std::int64_t code) { return {std::nullopt, {}, Error(urlErrorDomain, code)}; }

/// Where a redirect of `url` leads: an absolute location, or a path on the same server.
std::string resolvedLocation(const std::string& url, const std::string& location) {
  if (!location.starts_with('/')) return location;
  const std::size_t authority = url.find("://");
  return url.substr(0, url.find('/', authority == std::string::npos ? 0 : authority + 3)) + location;
}

}  // namespace

Answer Answer::failure(std::int64_t urlErrorCode, double delay) {
  Answer answer;
  answer.delay = delay;
  answer.error = Error(urlErrorDomain, urlErrorCode);
  return answer;
}

Answer Answer::redirect(const std::string& location, std::int64_t status) {
  Answer answer;
  answer.status = status;
  answer.body.clear();
  answer.headers.set("Location", location);
  return answer;
}

/// One task from its start to its completion, over all its redirects.
struct SimulatedNetwork::Exchange final : platform::URLSessionTask {
  std::uint64_t taskIdentifier() const override { return identifier; }
  const URLRequest& originalRequest() const override { return original; }

  std::uint64_t identifier = 0;
  URLRequest original;
  URLRequest current;
  SessionKind kind = SessionKind::shared;
  std::shared_ptr<platform::SerialQueue> queue;
  std::shared_ptr<const platform::RedirectHandler> redirectHandler;
  platform::URLSession::Completion completion;
  int hops = 0;
  /// Tells a late answer or time-out that its hop is over.
  std::uint64_t turn = 0;
  bool isFinished = false;
};

class SimulatedNetwork::Session final : public platform::URLSession {
 public:
  Session(SimulatedNetwork& network, SessionKind kind, platform::RedirectHandler redirectHandler)
      : network_(network),
        kind_(kind),
        queue_(network.queues_.makeSerialQueue("session")),
        redirectHandler_(std::make_shared<const platform::RedirectHandler>(std::move(redirectHandler))) {}

  std::shared_ptr<platform::URLSessionTask> startTask(URLRequest request, Completion completion) override {
    auto exchange = std::make_shared<Exchange>();
    exchange->identifier = ++lastTask_;
    exchange->original = request;
    exchange->current = std::move(request);
    exchange->kind = kind_;
    exchange->queue = queue_;
    exchange->redirectHandler = redirectHandler_;
    exchange->completion = std::move(completion);
    network_.pending_.push_back(exchange);
    if (isInvalidated_) {
      queue_->post([&network = network_, exchange] { network.finish(exchange, failed(urlError::cancelled)); });
    } else {
      network_.begin(exchange);
    }
    return exchange;
  }
  void finishTasksAndInvalidate() override { isInvalidated_ = true; }

 private:
  SimulatedNetwork& network_;
  SessionKind kind_;
  std::shared_ptr<platform::SerialQueue> queue_;
  std::shared_ptr<const platform::RedirectHandler> redirectHandler_;
  std::uint64_t lastTask_ = 0;
  bool isInvalidated_ = false;
};

SimulatedNetwork::SimulatedNetwork(platform::Queues& queues, const platform::Clock& clock)
    : queues_(queues), clock_(clock), shared_(std::make_shared<Session>(*this, SessionKind::shared, nullptr)) {}

SimulatedNetwork::~SimulatedNetwork() = default;

platform::URLSession& SimulatedNetwork::shared() { return *shared_; }

std::shared_ptr<platform::URLSession> SimulatedNetwork::makeSession(platform::RedirectHandler redirectHandler) {
  return std::make_shared<Session>(*this, SessionKind::ownSession, std::move(redirectHandler));
}

std::shared_ptr<platform::URLSession> SimulatedNetwork::makeBackgroundSession(const std::string& identifier) {
  if (!hasBackgroundSessions) return nullptr;
  backgroundIdentifiers.push_back(identifier);
  return std::make_shared<Session>(*this, SessionKind::background, nullptr);
}

void SimulatedNetwork::answer(const std::string& urlPart, Answer fixed) {
  answer(urlPart, [fixed = std::move(fixed)](const URLRequest&) { return fixed; });
}

void SimulatedNetwork::answer(const std::string& urlPart, Responder responder) {
  rules_.emplace_back(urlPart, std::move(responder));
}

void SimulatedNetwork::answerOnce(const std::string& urlPart, Answer answer) {
  once_.emplace_back(urlPart, std::move(answer));
}

void SimulatedNetwork::hold(const std::string& urlPart) { heldParts_.push_back(urlPart); }

void SimulatedNetwork::release(const std::string& urlPart) {
  std::erase(heldParts_, urlPart);
  for (const auto& exchange : std::exchange(held_, {})) {
    if (contains(exchange->current.url, urlPart)) {
      respond(exchange);
    } else {
      held_.push_back(exchange);
    }
  }
}

std::vector<RecordedRequest> SimulatedNetwork::requestsTo(std::string_view urlPart) const {
  std::vector<RecordedRequest> matching;
  std::copy_if(requests.begin(), requests.end(), std::back_inserter(matching),
               [&](const RecordedRequest& request) { return contains(request.url(), urlPart); });
  return matching;
}

std::size_t SimulatedNetwork::pendingCount() const {
  return static_cast<std::size_t>(std::count_if(pending_.begin(), pending_.end(), [](const auto& weak) {
    const auto exchange = weak.lock();
    return exchange != nullptr && !exchange->isFinished;
  }));
}

Answer SimulatedNetwork::chooseAnswer(const URLRequest& request) {
  const auto matches = [&](const auto& rule) { return contains(request.url, rule.first); };
  if (const auto once = std::find_if(once_.begin(), once_.end(), matches); once != once_.end()) {
    Answer answer = std::move(once->second);
    once_.erase(once);
    return answer;
  }
  const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), matches);
  return rule == rules_.rend() ? defaultAnswer : rule->second(request);
}

void SimulatedNetwork::begin(const std::shared_ptr<Exchange>& exchange) {
  const URLRequest& request = exchange->current;
  requests.push_back({request, exchange->kind, exchange->identifier, clock_.now(), exchange->hops > 0});
  const auto url = platform::Url::parse(request.url);
  if (!url || (url->scheme() != "https" && url->scheme() != "http")) {
    const auto code = url ? urlError::unsupportedURL : urlError::badURL;
    exchange->queue->post([this, exchange, code] { finish(exchange, failed(code)); });
    return;
  }
  exchange->queue->postAfter(nanoseconds(request.timeoutInterval.value_or(60)),
                             [this, exchange, turn = ++exchange->turn] {
                               if (exchange->turn == turn) finish(exchange, failed(urlError::timedOut));
                             });
  if (std::any_of(heldParts_.begin(), heldParts_.end(),
                  [&](const auto& part) { return contains(request.url, part); })) {
    held_.push_back(exchange);
  } else {
    respond(exchange);
  }
}

void SimulatedNetwork::respond(const std::shared_ptr<Exchange>& exchange) {
  Answer answer = chooseAnswer(exchange->current);
  exchange->queue->postAfter(nanoseconds(answer.delay),
                             [this, exchange, turn = exchange->turn, answer = std::move(answer)] {
                               if (exchange->turn == turn) deliver(exchange, answer);
                             });
}

void SimulatedNetwork::deliver(const std::shared_ptr<Exchange>& exchange, const Answer& answer) {
  if (answer.error) return finish(exchange, {std::nullopt, {}, answer.error});
  URLResponse response{answer.status, answer.headers, answer.mimeType, exchange->current.url};
  if (follow(exchange, response)) return;
  finish(exchange, {std::move(response), Data(answer.body.begin(), answer.body.end()), std::nullopt});
}

bool SimulatedNetwork::follow(const std::shared_ptr<Exchange>& exchange, const URLResponse& response) {
  const std::string* location = response.headers.find("Location");
  const auto status = response.statusCode;
  const bool isRewritten = status >= 301 && status <= 303;
  if (location == nullptr || (!isRewritten && status != 307 && status != 308)) return false;
  if (++exchange->hops > kMaximumRedirects) {
    finish(exchange, failed(urlError::httpTooManyRedirects));
    return true;
  }
  URLRequest proposed = exchange->current;
  proposed.url = resolvedLocation(exchange->current.url, *location);
  if (isRewritten && proposed.method == "POST") {
    proposed.method = "GET";
    proposed.body.reset();
  }
  if (*exchange->redirectHandler) {
    auto chosen = (*exchange->redirectHandler)(exchange->identifier, exchange->current, response, std::move(proposed));
    if (!chosen) return false;
    proposed = *std::move(chosen);
  }
  exchange->current = std::move(proposed);
  begin(exchange);
  return true;
}

void SimulatedNetwork::finish(const std::shared_ptr<Exchange>& exchange, URLResult result) {
  if (std::exchange(exchange->isFinished, true)) return;
  ++exchange->turn;
  std::erase(held_, exchange);
  std::erase_if(pending_, [&](const auto& weak) { return weak.expired() || weak.lock() == exchange; });
  // The task may outlive its completion.
  const auto completion = std::exchange(exchange->completion, nullptr);
  if (completion) completion(std::move(result));
}

std::uint64_t SimulatedBackgroundTasks::begin(std::function<void()> expiryHandler) {
  active[++begunCount] = std::move(expiryHandler);
  return begunCount;
}

void SimulatedBackgroundTasks::expire() {
  const auto handlers = active;
  for (const auto& [identifier, handler] : handlers) {
    if (handler) handler();
  }
}

}  // namespace trovix::test
