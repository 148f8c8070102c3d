#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>

#include "collector/Collector.h"
#include "torture/Lives.h"
#include "torture/SilentServer.h"
#include "torture/Torture.h"

namespace trovix::torture {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
namespace fs = std::filesystem;

constexpr auto stageLimit = 30s;
constexpr auto hangLimit = 30s;
// The library promises two seconds. The rest is for what a loaded machine needs to take a process apart, and for the
// 10 ms between two looks at whether it has ended.
constexpr auto leavingLimit = 2s + 250ms;

/// Waits, bounded, for what another process or thread does.
bool comesTrue(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + stageLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

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
  ExitRound(const StageName& stage, const WayOut& way, const std::string& directory, Report& report)
      : stage_(stage),
        way_(way),
        name_(fmt::format("exits: {}, by {}", stage.name, way.name)),
        directory_(fmt::format("{}/{}-{}", directory, static_cast<int>(stage.stage), way.name)),
        report_(report),
        server_({.devKey = livesDeveloperKey,
                 .tlsDirectory = directory_ + "/tls",
                 .onRequest = [this](const Dictionary& request) { didReceive(request); },
                 .keptRequests = 0}) {}

  void run();
  /// How long the process took from the request to leave to its end.
  [[nodiscard]] milliseconds leaving() const noexcept { return leaving_; }
  [[nodiscard]] const std::string& name() const noexcept { return name_; }

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
  milliseconds leaving_{0};
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
  const LifeEnd end = life.end(hangLimit);
  report_.expect(end.isClean(leavingStatus), name_ + ": the process " + end.text());
  leaving_ = end.leaving.value_or(hangLimit);
  report_.expect(leaving_ <= leavingLimit, fmt::format("{}: the end took {} ms", name_, leaving_.count()));
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

/// What all exits came to.
struct ExitTotals {
  std::size_t rounds = 0;
  milliseconds longest{0};
  std::string slowest;
};

/// Every stage at once, by one way out after another.
void leaveEverywhere(const std::string& directory, ExitTotals& totals, Report& report) {
  for (const WayOut& way : everyWayOut) {
    std::vector<std::unique_ptr<ExitRound>> batch;
    for (const StageName& stage : everyStage) {
      batch.push_back(std::make_unique<ExitRound>(stage, way, directory, report));
    }
    std::vector<std::thread> threads;
    for (const auto& round : batch) threads.emplace_back([&round] { round->run(); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& round : batch) {
      ++totals.rounds;
      if (round->leaving() <= totals.longest) continue;
      totals.longest = round->leaving();
      totals.slowest = round->name();
    }
  }
}

}  // namespace

void exits(const Options& options, Report& report) {
  const auto startedAt = std::chrono::steady_clock::now();
  const int before = report.failures();
  ExitTotals totals;
  do {
    const std::string directory = options.directory + "/pass";
    leaveEverywhere(directory, totals, report);
    fs::remove_all(directory);
  } while (std::chrono::steady_clock::now() - startedAt < options.time);
  report.note(fmt::format("exits: {} stages of a request x {} ways to end the process: {} processes, {}",
                          std::size(everyStage), std::size(everyWayOut), totals.rounds,
                          report.failures() == before
                              ? "all ended as asked, and the next one delivered what was accepted"
                              : "not all as they should be"));
  report.note(fmt::format("{}: the longest end, {} ms", totals.slowest, totals.longest.count()));
}

}  // namespace trovix::torture
