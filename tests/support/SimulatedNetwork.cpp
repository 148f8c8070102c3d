#include "support/SimulatedNetwork.h"

#include <algorithm>

#include "platform/Url.h"
#include "support/Testing.h"

namespace trovix::test {

namespace urlError = platform::urlError;
using platform::URLRequest;
using platform::URLResponse;
using platform::URLResult;

namespace {

constexpr int maximumRedirects = 16;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

std::chrono::nanoseconds nanoseconds(double seconds) {
  return std::chrono::nanoseconds(saturatingInteger(seconds * 1e9));
}

URLResult failed(std::int64_t code) { return {std::nullopt, {}, Error(urlErrorDomain, code)}; }

}  // namespace

Answer Answer::failure(std::int64_t urlErrorCode) { return {.error = Error(urlErrorDomain, urlErrorCode)}; }

Answer Answer::redirect(const std::string& location) {
  Answer answer{.status = 302, .body = ""};
  answer.headers.set("Location", location);
  return answer;
}

/// What the tasks of a session have in common.
struct SimulatedNetwork::Route {
  SessionKind kind;
  platform::RedirectHandler redirectHandler;
  std::shared_ptr<platform::SerialQueue> queue;
};

/// One task from its start to its completion, over all its redirects.
struct SimulatedNetwork::Exchange final : platform::URLSessionTask {
  std::uint64_t taskIdentifier() const override { return identifier; }
  const URLRequest& originalRequest() const override { return original; }

  std::uint64_t identifier = 0;
  std::shared_ptr<const Route> route;
  URLRequest original, current;
  platform::URLSession::Completion completion;
  int hops = 0;
  /// Tells a late answer or time-out that its hop is over.
  std::uint64_t turn = 0;
};

class SimulatedNetwork::Session final : public platform::URLSession {
 public:
  Session(SimulatedNetwork& network, SessionKind kind, platform::RedirectHandler redirectHandler)
      : network_(network),
        route_(new Route{kind, std::move(redirectHandler), network.queues_.makeSerialQueue("session")}) {}

  std::shared_ptr<platform::URLSessionTask> startTask(URLRequest request, Completion completion) override {
    EXPECT_FALSE(isInvalidated_);
    auto exchange = std::make_shared<Exchange>();
    exchange->identifier = ++lastTask_;
    exchange->route = route_;
    exchange->original = exchange->current = std::move(request);
    exchange->completion = std::move(completion);
    network_.begin(exchange);
    return exchange;
  }
  void finishTasksAndInvalidate() override { isInvalidated_ = true; }

 private:
  SimulatedNetwork& network_;
  const std::shared_ptr<const Route> route_;
  std::uint64_t lastTask_ = 0;
  bool isInvalidated_ = false;
};

SimulatedNetwork::SimulatedNetwork(platform::Queues& queues)
    : queues_(queues), shared_(std::make_shared<Session>(*this, SessionKind::shared, nullptr)) {}

SimulatedNetwork::~SimulatedNetwork() = default;

platform::URLSession& SimulatedNetwork::shared() { return *shared_; }

std::shared_ptr<platform::URLSession> SimulatedNetwork::makeSession(platform::RedirectHandler redirectHandler) {
  return std::make_shared<Session>(*this, SessionKind::ownSession, std::move(redirectHandler));
}

std::shared_ptr<platform::URLSession> SimulatedNetwork::makeBackgroundSession(const std::string& identifier) {
  backgroundIdentifiers.push_back(identifier);
  return std::make_shared<Session>(*this, SessionKind::background, nullptr);
}

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

Answer SimulatedNetwork::chooseAnswer(const URLRequest& request) {
  const auto matches = [&](const auto& rule) { return contains(request.url, rule.first); };
  if (const auto once = std::find_if(once_.begin(), once_.end(), matches); once != once_.end()) {
    Answer answer = std::move(once->second);
    once_.erase(once);
    return answer;
  }
  const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), matches);
  return rule == rules_.rend() ? defaultAnswer : rule->second;
}

void SimulatedNetwork::begin(const std::shared_ptr<Exchange>& exchange) {
  const URLRequest& request = exchange->current;
  const auto& queue = exchange->route->queue;
  requests.push_back({request, exchange->route->kind, exchange->identifier});
  const auto url = platform::Url::parse(request.url);
  if (!url || (url->scheme() != "https" && url->scheme() != "http")) {
    const auto code = url ? urlError::unsupportedURL : urlError::badURL;
    queue->post([this, exchange, code] { finish(exchange, failed(code)); });
    return;
  }
  queue->postAfter(nanoseconds(request.timeoutInterval.value_or(60)), [this, exchange, turn = ++exchange->turn] {
    if (exchange->turn == turn) finish(exchange, failed(urlError::timedOut));
  });
  const auto isHeld = [&](const auto& part) { return contains(request.url, part); };
  if (std::any_of(heldParts_.begin(), heldParts_.end(), isHeld)) {
    held_.push_back(exchange);
  } else {
    respond(exchange);
  }
}

void SimulatedNetwork::respond(const std::shared_ptr<Exchange>& exchange) {
  Answer answer = chooseAnswer(exchange->current);
  exchange->route->queue->postAfter(nanoseconds(answer.delay),
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
  if (location == nullptr || response.statusCode / 100 != 3) return false;
  if (++exchange->hops > maximumRedirects) {
    finish(exchange, failed(urlError::httpTooManyRedirects));
    return true;
  }
  std::optional<URLRequest> next = exchange->current;
  next->url = *location;
  const auto& handler = exchange->route->redirectHandler;
  if (handler) next = handler(exchange->identifier, exchange->current, response, *std::move(next));
  if (!next) return false;
  exchange->current = *std::move(next);
  begin(exchange);
  return true;
}

void SimulatedNetwork::finish(const std::shared_ptr<Exchange>& exchange, URLResult result) {
  ++exchange->turn;
  std::erase(held_, exchange);
  // The task may outlive its completion.
  const auto completion = std::exchange(exchange->completion, nullptr);
  if (completion) completion(std::move(result));
}

void SimulatedBackgroundTasks::expire() {
  for (const auto& [identifier, handler] : std::map(active)) handler();
}

}  // namespace trovix::test
