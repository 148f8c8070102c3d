#include <fmt/core.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>

#include "collector/Collector.h"
#include "torture/Evidence.h"
#include "torture/HostProcess.h"
#include "torture/Torture.h"

namespace trovix::torture {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr const char* killDeveloperKey = "torture-developer-key-1";

// A full run goes on until it has this many rounds, on a machine however slow.
constexpr std::chrono::seconds fullRun{180};
constexpr int roundsOfFullRun = 300;
constexpr int roundsOfInstallation = 25;

// The first hosts of an installation die while they make their files.
constexpr int earlyRounds = 3;
constexpr int latestEarlyKill = 60;
// The first event of a process falls due 400 ms after it was logged.
constexpr int firstEventAt = 400;
constexpr int latestKill = 1100;
constexpr int eventsOfScript = 3000;

constexpr int shownLosses = 10;

/// The buffer is large enough never to evict: what is lost is lost for no good reason.
constexpr const char* killedTelephone = R"json({
  "device": {"model": "iPhone", "name": "Torture iPhone", "systemName": "iOS", "systemVersion": "17.2",
             "identifierForVendor": "7D9E1B2C-4F5A-4C6B-8D7E-9F0A1B2C3D4E"},
  "locale": {"languages": ["en-US"], "language": "en", "country": "US"},
  "bundle": {"identifier": "com.example.shop",
             "info": {"CFBundleVersion": "42", "CFBundleShortVersionString": "3.1.4", "TrovixBufferSize": 100000}},
  "frameworks": {"attStatus": 3, "advertisingIdentifier": "6E0F2A51-9C3D-4B7E-A1D2-3F4E5D6C7B8A", "adNetwork": true}
})json";

/// How the server is while a host lives. A slow or absent one lets the cache fill.
enum class Weather : std::uint8_t { healthy, slow, absent };

/// What all installations of a run came to.
struct Totals {
  int installations = 0;
  int withoutFirstLaunch = 0;
  int rounds = 0;
  int roundsWithRest = 0;
  std::size_t rest = 0;
  std::size_t stores = 0;
  std::size_t cached = 0;
  std::size_t accepted = 0;
  int lost = 0;
  std::size_t requests = 0;
  std::size_t repeated = 0;
  int mostRepeats = 0;
};

/// One application on one device, killed again and again, and the server that lives through it all.
class KilledApplication {
 public:
  KilledApplication(const Options& options, std::mt19937& random, Totals& totals, Report& report);

  bool prepare();
  void round(int number);
  /// Starts the host once more and lets it come to rest.
  void deliverTheRest();
  void judge();

 private:
  [[nodiscard]] std::vector<std::string> arguments() const;
  void writeScript(const std::string& text) const;
  void prepareWeather(Weather weather);
  [[nodiscard]] milliseconds nextKill(int round);
  [[nodiscard]] std::size_t keptRequests() const;
  void expect(bool condition, const std::string& text) { report_.expect(condition, name_ + ": " + text); }

  const Options& options_;
  std::mt19937& random_;
  Totals& totals_;
  Report& report_;
  const std::string name_ = fmt::format("kills: installation {}", ++totals_.installations);
  const std::string data_ = fmt::format("{}/data-{}", options_.directory, totals_.installations);
  const std::string device_ = options_.directory + "/device.json";
  const std::string script_ = options_.directory + "/script";
  const std::string output_ = options_.directory + "/output";
  Arrivals arrivals_;
  Acceptances acceptances_;
  StoreWatch stores_;
  collector::Collector server_;
};

KilledApplication::KilledApplication(const Options& options, std::mt19937& random, Totals& totals, Report& report)
    : options_(options),
      random_(random),
      totals_(totals),
      report_(report),
      stores_(data_, options.directory + "/scratch", report),
      server_({.devKey = killDeveloperKey,
               .tlsDirectory = options.directory + "/tls",
               .onRequest = [this](const Dictionary& request) { arrivals_.add(request); },
               .keptRequests = 0}) {}

bool KilledApplication::prepare() {
  for (const std::string& directory : {data_, options_.directory + "/scratch", options_.directory + "/tls"}) {
    fs::create_directories(directory);
  }
  std::ofstream(device_) << killedTelephone;
  const Status started = server_.start();
  return report_.expect(static_cast<bool>(started), "kills: the stand-in does not start") &&
         report_.expect(fs::exists(options_.hostProgram), "kills: there is no host program " + options_.hostProgram);
}

std::vector<std::string> KilledApplication::arguments() const {
  return {"--dev-key",       killDeveloperKey, "--data-dir",     data_,   "--device",      device_, "--connect",
          server_.address(), "--ca",           server_.caFile(), script_, "--print-cached"};
}

void KilledApplication::writeScript(const std::string& text) const { std::ofstream(script_, std::ios::trunc) << text; }

void KilledApplication::prepareWeather(Weather weather) {
  Array answers;
  if (weather == Weather::slow) answers.push_back(Dictionary{{"delay", 0.01}, {"forever", true}});
  expect(static_cast<bool>(server_.setScenario("InApps", answers)), "the scenario is refused");
  if (weather == Weather::absent) {
    server_.stop();
  } else {
    expect(static_cast<bool>(server_.start()), "the stand-in does not start again");
  }
}

milliseconds KilledApplication::nextKill(int round) {
  const auto between = [this](int from, int to) {
    return milliseconds(std::uniform_int_distribution<int>(from, to)(random_));
  };
  if (round <= earlyRounds) return between(0, latestEarlyKill);
  // A third of the later hosts die while they start and send what the one before them left.
  return random_() % 3 == 0 ? between(0, firstEventAt) : between(firstEventAt, latestKill);
}

std::size_t KilledApplication::keptRequests() const {
  std::error_code ignored;
  const fs::directory_iterator files(data_ + "/app/Library/Caches/trovix-v1", ignored);
  return static_cast<std::size_t>(std::distance(fs::begin(files), fs::end(files)));
}

void KilledApplication::round(int number) {
  std::string script = "prepare\n";
  for (int i = 1; i <= eventsOfScript; ++i) script += fmt::format("event r{}e{}\nsleep 0.001\n", number, i);
  writeScript(script);
  constexpr Weather weathers[] = {Weather::healthy, Weather::healthy, Weather::healthy, Weather::slow, Weather::absent};
  prepareWeather(weathers[random_() % std::size(weathers)]);
  const milliseconds moment = nextKill(number);

  HostProcess host(options_.hostProgram, arguments(), output_);
  std::this_thread::sleep_for(moment);
  const auto ending = host.kill();
  const std::string when = fmt::format("round {}, {} ms", number, moment.count());
  expect(ending.byKill, when + ": the host " + ending.text);
  acceptances_.addOutput(output_);
  stores_.inspect(name_ + ", " + when);

  ++totals_.rounds;
  const std::size_t kept = keptRequests();
  totals_.rest += kept;
  if (kept > 0) ++totals_.roundsWithRest;
}

void KilledApplication::deliverTheRest() {
  constexpr std::chrono::seconds limit{90};
  writeScript("prepare\nidle 60\n");
  prepareWeather(Weather::healthy);
  HostProcess host(options_.hostProgram, arguments(), output_);
  const auto ending = host.waitForEnd(limit);
  expect(ending.exitStatus == 0, "the last host " + ending.text);
  acceptances_.addOutput(output_);
  stores_.inspect(name_ + ", last round");
  expect(keptRequests() == 0, fmt::format("{} requests stayed in the cache", keptRequests()));
}

void KilledApplication::judge() {
  const std::vector<std::string> accepted = acceptances_.accepted();
  int lost = 0;
  for (const std::string& stamp : accepted) {
    if (arrivals_.has(stamp)) continue;
    if (++lost <= shownLosses) report_.fail(name_ + ": never received: the event of " + stamp);
  }
  expect(lost == 0, fmt::format("{} accepted events are lost", lost));
  arrivals_.judge(name_, report_);

  const auto repeats = arrivals_.repeats();
  totals_.withoutFirstLaunch += arrivals_.hasFirstLaunch() ? 0 : 1;
  totals_.stores += stores_.inspected();
  totals_.cached += acceptances_.events();
  totals_.accepted += accepted.size();
  totals_.lost += lost;
  totals_.requests += arrivals_.requests();
  totals_.repeated += repeats.events;
  totals_.mostRepeats = std::max(totals_.mostRepeats, repeats.most);
}

void describe(const Totals& totals, std::chrono::duration<double> time, Report& report) {
  // A run that hardly logs would hold whatever the library does.
  report.expect(totals.accepted > static_cast<std::size_t>(totals.rounds) && totals.roundsWithRest * 4 > totals.rounds,
                fmt::format("kills: too little was tried: {} events accepted", totals.accepted));
  report.note(
      fmt::format("kills: {} rounds in {:.0f} s, {:.0f} a minute, over {} installations ({} never reported "
                  "their first launch); {} kills left requests in the cache, {} in all; {} stores opened",
                  totals.rounds, time.count(), totals.rounds * 60 / time.count(), totals.installations,
                  totals.withoutFirstLaunch, totals.roundsWithRest, totals.rest, totals.stores));
  report.note(
      fmt::format("kills: {} events cached, {} of them in pairs of one file name; {} accepted, {} lost; {} "
                  "requests received, {} events came more than once, at most {} times",
                  totals.cached, totals.cached - totals.accepted, totals.accepted, totals.lost, totals.requests,
                  totals.repeated, totals.mostRepeats));
}

}  // namespace

void kills(const Options& options, Report& report) {
  const auto startedAt = std::chrono::steady_clock::now();
  std::mt19937 random(options.seed);
  Totals totals;
  const auto isOver = [&] {
    const bool isShort = options.time >= fullRun && totals.rounds < roundsOfFullRun;
    return std::chrono::steady_clock::now() - startedAt >= options.time && !isShort;
  };
  while (!isOver()) {
    KilledApplication application(options, random, totals, report);
    if (!application.prepare()) return;
    for (int round = 1; round <= roundsOfInstallation && !isOver(); ++round) application.round(round);
    application.deliverTheRest();
    application.judge();
  }
  describe(totals, std::chrono::steady_clock::now() - startedAt, report);
}

}  // namespace trovix::torture
