#pragma once

#include <deque>
#include <map>

#include "trovix/Json.h"
#include "trovix/platform/BackgroundTasks.h"
#include "trovix/platform/Queues.h"
#include "trovix/platform/URLSession.h"

namespace trovix::test {

/// What the server says to one request, or how the attempt fails.
struct Answer {
  std::int64_t status = 200;
  std::string body = "{}";
  platform::HeaderFields headers = {};
  std::string mimeType = "application/json";
  /// Seconds until it is there. Past the request's time-out the request fails with -1001 instead.
  double delay = 0;
  /// Instead of a response.
  std::optional<Error> error = std::nullopt;

  /// A failure of the connection.
  static Answer failure(std::int64_t urlErrorCode);
  static Answer redirect(const std::string& location);
};

enum class SessionKind : std::uint8_t { shared, ownSession, background };

struct RecordedRequest {
  platform::URLRequest request;
  SessionKind session = SessionKind::shared;
  std::uint64_t taskIdentifier = 0;

  const std::string& url() const { return request.url; }
  std::string body() const { return request.body ? std::string(request.body->begin(), request.body->end()) : ""; }
  /// The body that is a JSON dictionary; empty when it is none.
  Dictionary json() const { return dictionaryFromJson(body()).value_or(Dictionary()); }
};

/// The network as a script. Rules match by a piece of the URL. Answers set with `answerOnce` are used up first, in
/// order; then the newest rule of `answer`; else the default.
class SimulatedNetwork final : public platform::URLSessions {
 public:
  explicit SimulatedNetwork(platform::Queues& queues);
  ~SimulatedNetwork() override;

  platform::URLSession& shared() override;
  std::shared_ptr<platform::URLSession> makeSession(platform::RedirectHandler redirectHandler) override;
  std::shared_ptr<platform::URLSession> makeBackgroundSession(const std::string& identifier) override;

  void answer(const std::string& urlPart, const Answer& answer) { rules_.emplace_back(urlPart, answer); }
  void answerOnce(const std::string& urlPart, const Answer& answer) { once_.emplace_back(urlPart, answer); }
  /// Matching requests get no answer until they are released or time out.
  void hold(const std::string& urlPart) { heldParts_.push_back(urlPart); }
  /// Answers what is held as the rules say now, in the order of the requests.
  void release(const std::string& urlPart);

  /// The recorded requests whose URL contains the text.
  std::vector<RecordedRequest> requestsTo(std::string_view urlPart) const;
  /// Forgets what is held, completions included.
  void dropHeld() { held_.clear(); }

  /// Every request that went out, redirected ones too.
  std::vector<RecordedRequest> requests;
  /// What nothing else answers. The network is down unless a test says otherwise.
  Answer defaultAnswer = Answer::failure(platform::urlError::cannotConnectToHost);
  /// Identifiers of the background sessions that were made.
  std::vector<std::string> backgroundIdentifiers;

 private:
  class Session;
  struct Exchange;
  struct Route;

  void begin(const std::shared_ptr<Exchange>& exchange);
  void respond(const std::shared_ptr<Exchange>& exchange);
  void deliver(const std::shared_ptr<Exchange>& exchange, const Answer& answer);
  bool follow(const std::shared_ptr<Exchange>& exchange, const platform::URLResponse& response);
  void finish(const std::shared_ptr<Exchange>& exchange, platform::URLResult result);
  Answer chooseAnswer(const platform::URLRequest& request);

  platform::Queues& queues_;
  std::vector<std::pair<std::string, Answer>> rules_;
  std::deque<std::pair<std::string, Answer>> once_;
  std::vector<std::string> heldParts_;
  std::vector<std::shared_ptr<Exchange>> held_;
  std::shared_ptr<Session> shared_;
};

/// Records background tasks; time runs out when the test says so.
class SimulatedBackgroundTasks final : public platform::BackgroundTasks {
 public:
  std::uint64_t begin(std::function<void()> expiryHandler) override {
    active[++last_] = std::move(expiryHandler);
    return last_;
  }
  void end(std::uint64_t identifier) override { active.erase(identifier); }
  /// Runs the expiry handler of every task that has not ended.
  void expire();

  std::map<std::uint64_t, std::function<void()>> active;

 private:
  std::uint64_t last_ = 0;
};

}  // namespace trovix::test
