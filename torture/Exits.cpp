#include <arpa/inet.h>
#include <fmt/core.h>
#include <sys/socket.h>
#include <unistd.h>

#include <poll.h>
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>

#include "collector/Collector.h"
#include "torture/Lives.h"
#include "torture/Torture.h"

namespace trovix::torture {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr auto stageLimit = 30s;
constexpr auto leavingLimit = 30s;

/// Waits, bounded, for what another process or thread does.
bool comesTrue(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + stageLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

/// A TCP server that never says a word.
class SilentServer {
 public:
  SilentServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    where_.sin_family = AF_INET;
    where_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof where_;
    ::bind(listener_, reinterpret_cast<const sockaddr*>(&where_), size);
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&where_), &size);
    ::listen(listener_, 0);
  }
  ~SilentServer() {
    for (const int file : {listener_, filler_, accepted_}) {
      if (file >= 0) ::close(file);
    }
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  [[nodiscard]] std::string address() const { return fmt::format("127.0.0.1:{}", ntohs(where_.sin_port)); }
  /// Takes the only place of the queue, so that whoever connects now waits.
  void fill() {
    filler_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ::connect(filler_, reinterpret_cast<const sockaddr*>(&where_), sizeof where_);
  }
  /// Whether somebody waits for the connection.
  [[nodiscard]] bool hasConnecting() const {
    const std::string peer = fmt::format(":{:04X} 02 ", ntohs(where_.sin_port));
    std::ifstream connections("/proc/net/tcp");
    std::string line;
    while (std::getline(connections, line)) {
      if (line.find(peer) != std::string::npos) return true;
    }
    return false;
  }
  /// Whether somebody is connected and has begun to speak.
  [[nodiscard]] bool hasSpeaking() {
    pollfd waiting{.fd = accepted_ < 0 ? listener_ : accepted_, .events = POLLIN, .revents = 0};
    if (::poll(&waiting, 1, 0) <= 0) return false;
    if (accepted_ >= 0) return true;
    accepted_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    return false;
  }

 private:
  const int listener_;
  int filler_ = -1;
  int accepted_ = -1;
  sockaddr_in where_{};
};

enum class Stage : std::uint8_t {
  queued,
  cached,
  connecting,
  handshake,
  sent,
  waiting,
  reading,
  callback,
  mainCallback
};
struct StageName {
  Stage stage;
  const char* name;
};
constexpr StageName everyStage[] = {{Stage::queued, "queued"},
                                    {Stage::cached, "cached"},
                                    {Stage::connecting, "connecting"},
                                    {Stage::handshake, "TLS handshake"},
                                    {Stage::sent, "sent"},
                                    {Stage::waiting, "waiting for the answer"},
                                    {Stage::reading, "answer being read"},
                                    {Stage::callback, "callback running"},
                                    {Stage::mainCallback, "callback of the main queue running"}};

struct WayOut {
  const char* name;
  /// Whether the process gets to end its work.
  bool isOrderly;
};
constexpr WayOut everyWayOut[] = {{"return", true}, {"exitElsewhere", true}, {"exitHere", true}, {"_exit", false}};

/// One process that leaves at a stage of its first request, and the one after it.
class ExitRound {
 public:
  ExitRound(const StageName& stage, const WayOut& way, const Options& options, Report& report)
      : stage_(stage),
        way_(way),
        name_(fmt::format("exits: {}, by {}", stage.name, way.name)),
        directory_(fmt::format("{}/{}-{}", options.directory, static_cast<int>(stage.stage), way.name)),
        report_(report),
        server_({.devKey = livesDeveloperKey,
                 .tlsDirectory = directory_ + "/tls",
                 .onRequest = [this](const Dictionary& request) { didReceive(request); },
                 .keptRequests = 0}) {}

  void run();

 private:
  void didReceive(const Dictionary& request);
  void prepareServer();
  void awaitStage();
  void signal() const { std::ofstream(directory_ + "/signal") << "leave"; }
  [[nodiscard]] LifeStory story(const char* who) const;
  [[nodiscard]] bool isSilent() const { return stage_.stage == Stage::connecting || stage_.stage == Stage::handshake; }
  [[nodiscard]] const char* childStage() const;
  void leave();
  void comeBack();

  const StageName stage_;
  const WayOut way_;
  const std::string name_;
  const std::string directory_;
  Report& report_;
  Inbox inbox_;
  std::atomic<bool> hasReceived_{false};
  std::atomic<bool> leavesUnanswered_{false};
  SilentServer silent_;
  collector::Collector server_;
  std::vector<Acceptance> accepted_;
  std::size_t overwritten_ = 0;
};

void ExitRound::didReceive(const Dictionary& request) {
  if (!hasReceived_.exchange(true) && stage_.stage == Stage::sent) signal();
  // What got no whole answer must come again, or its file was deleted too early.
  if (!leavesUnanswered_) inbox_.add(request);
}

LifeStory ExitRound::story(const char* who) const {
  return {{"who", who}, {"data", directory_ + "/data"}, {"server", server_.address()}, {"authority", server_.caFile()}};
}

const char* ExitRound::childStage() const {
  switch (stage_.stage) {
    case Stage::queued:
      return "queued";
    case Stage::cached:
      return "cached";
    case Stage::callback:
      return "callback";
    case Stage::mainCallback:
      return "mainCallback";
    case Stage::connecting:
    case Stage::handshake:
    case Stage::sent:
    case Stage::waiting:
    case Stage::reading:
      return "signalled";
  }
  return "";
}

void ExitRound::prepareServer() {
  Array answers;
  if (stage_.stage == Stage::sent || stage_.stage == Stage::waiting) {
    answers.push_back(Dictionary{{"delay", 600}, {"forever", true}});
  } else if (stage_.stage == Stage::reading) {
    answers.push_back(Dictionary{{"bodySize", 60'000}, {"drip", 2'000}, {"forever", true}});
  }
  leavesUnanswered_ = !answers.empty();
  report_.expect(static_cast<bool>(server_.setScenario("*", answers)), name_ + ": the scenario is refused");
  if (stage_.stage == Stage::connecting) silent_.fill();
}

void ExitRound::awaitStage() {
  bool isReached = true;
  switch (stage_.stage) {
    case Stage::connecting:
      isReached = comesTrue([this] { return silent_.hasConnecting(); });
      break;
    case Stage::handshake:
      isReached = comesTrue([this] { return silent_.hasSpeaking(); });
      break;
    case Stage::waiting:
    case Stage::reading:
      isReached = comesTrue([this] { return hasReceived_.load(); });
      // The request is out; the answer, whose next byte is minutes or parts of a second away, is on its way.
      std::this_thread::sleep_for(100ms);
      break;
    case Stage::queued:
    case Stage::cached:
    case Stage::sent:
    case Stage::callback:
    case Stage::mainCallback:
      return;
  }
  report_.expect(isReached, name_ + ": the stage was not reached");
  signal();
}

void ExitRound::leave() {
  LifeStory leaving = story("leaving");
  leaving.set("events", 3);
  leaving.set("stage", childStage());
  leaving.set("way", way_.name);
  leaving.set("signal", directory_ + "/signal");
  if (isSilent()) leaving.set("server", silent_.address());
  Life life(leaving, directory_ + "/leaving");
  awaitStage();
  const LifeEnd end = life.end(leavingLimit);
  report_.expect(end.isClean(leavingStatus), name_ + ": the process " + end.text());
  accepted_ = end.accepted;
  overwritten_ = end.overwritten;
}

void ExitRound::comeBack() {
  leavesUnanswered_ = false;
  report_.expect(static_cast<bool>(server_.setScenario("*", {})), name_ + ": the scenario is refused");
  Life life(story("coming back"), directory_ + "/back");
  const LifeEnd end = life.end();
  report_.expect(end.isClean(), name_ + ": the next process " + end.text());
  accepted_.insert(accepted_.end(), end.accepted.begin(), end.accepted.end());
}

void ExitRound::run() {
  fs::create_directories(directory_ + "/tls");
  if (!report_.expect(static_cast<bool>(server_.start()), name_ + ": the stand-in does not start")) return;
  prepareServer();
  leave();
  comeBack();
  report_.expect(!accepted_.empty(), name_ + ": nothing was accepted");
  report_.expect(inbox_.missing(accepted_) == 0, fmt::format("{}: {} of {} accepted events are lost", name_,
                                                             inbox_.missing(accepted_), accepted_.size()));
  report_.expect(inbox_.unreadable() == 0, name_ + ": bodies that do not decrypt");
  const std::size_t waiting = waitingRequests(directory_ + "/data");
  report_.expect(waiting == 0, fmt::format("{}: {} requests stayed in the cache", name_, waiting));
  if (!way_.isOrderly) return;
  // What was logged before an orderly end is accepted at the latest by that end, which makes all due events at once.
  std::size_t missing = 0;
  for (const char* event : {"Launched", "event-0", "event-1", "event-2"}) {
    missing += inbox_.find("leaving", event) ? 0 : 1;
  }
  report_.expect(missing <= overwritten_, fmt::format("{}: {} of what was logged is lost", name_, missing));
}

}  // namespace

void exits(const Options& options, Report& report) {
  const auto startedAt = std::chrono::steady_clock::now();
  std::size_t rounds = 0;
  for (const WayOut& way : everyWayOut) {
    std::vector<std::unique_ptr<ExitRound>> batch;
    for (const StageName& stage : everyStage) batch.push_back(std::make_unique<ExitRound>(stage, way, options, report));
    std::vector<std::thread> threads;
    for (const auto& round : batch) threads.emplace_back([&round] { round->run(); });
    for (std::thread& thread : threads) thread.join();
    rounds += batch.size();
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - startedAt;
  report.note(
      fmt::format("exits: {} stages of a request x {} ways to end the process in {:.0f} s: {} processes ended "
                  "as asked, and the next one delivered what was accepted",
                  std::size(everyStage), std::size(everyWayOut), elapsed.count(), rounds));
}

}  // namespace trovix::torture
