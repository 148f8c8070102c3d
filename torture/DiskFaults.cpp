#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>
#include <set>
#include <thread>
#include <utility>

#include "linux/TemporaryDirectory.h"
#include "platform/linux/SqliteDatabase.h"
#include "torture/DiskWorld.h"

namespace trovix::torture {
namespace {

namespace fs = std::filesystem;
using DiskClock = std::chrono::steady_clock;

// The trials wait most of the time, for events that are due and for each other's disk.
constexpr int trialsAtOnce = 6;
// What the part gets of a full run, which tries everything, on a machine however slow.
constexpr std::chrono::seconds fullDiskRun{60};
constexpr const char* nobodyListens = "127.0.0.1:1";

/// A device on which an application has lived, and left requests that wait.
struct UsedDevice {
  std::string data;
  std::vector<Acceptance> waiting;
  std::string identifier;
};

/// The stores alone, without the logs beside them: what is damaged then is all there is.
void foldLogs(const std::string& data) {
  for (const char* store : {standardStore, keychainStore, groupStore}) {
    platform::SqliteDatabase database(data + "/" + store, "");
    if (!fs::exists(database.path()) || database.open() != platform::SqliteOutcome::done) continue;
    database.execute("PRAGMA wal_checkpoint(TRUNCATE)");
  }
}

UsedDevice useDevice(DiskWorld& world, bool isGrouped) {
  const std::string name = isGrouped ? "grouped" : "used";
  UsedDevice device{.data = world.options.directory + "/" + name, .waiting = {}, .identifier = {}};
  LifeStory story = world.story(name, device.data);
  if (isGrouped) story.set("group", groupName);
  const LifeEnd healthy = Life(story, device.data + "-healthy").end();
  story.set("server", nobodyListens);
  story.set("events", 24);
  LifeEnd offline = Life(story, device.data + "-offline").end();
  world.report.expect(healthy.isClean() && offline.isClean(),
                      "disk: an application on a healthy disk " + offline.text());
  foldLogs(device.data);
  device.waiting = std::move(offline.accepted);
  device.identifier = world.inbox.textOf(name, "Launched", "uid");
  world.report.expect(device.waiting.size() >= 24, "disk: too few requests wait");
  return device;
}

/// An application that lives through one damage, and once more after it.
class DiskTrial {
 public:
  DiskTrial(const Options& options, Report& report, const UsedDevice& device, const Damage& damage, std::size_t number)
      : world_(options, report),
        device_(device),
        damage_(damage),
        name_("disk: " + damage.name),
        who_(fmt::format("trial {}", number)),
        data_(fmt::format("{}/trial-{}", options.directory, number)) {}

  /// False when the damage changed nothing.
  bool run();

 private:
  [[nodiscard]] bool damageDisk();
  void suffer();
  void comeBack();
  void expectArrived(const std::string& who);
  void expectSetAside(const std::string& log);
  void expectIdentity();
  bool expect(bool condition, const std::string& text) { return world_.report.expect(condition, name_ + ": " + text); }

  // Its own: the copies of a device's requests tell nothing about whose they are.
  DiskWorld world_;
  const UsedDevice& device_;
  const Damage& damage_;
  const std::string name_;
  const std::string who_;
  const std::string data_;
  std::string damagedBytes_;
  std::vector<Acceptance> accepted_;
};

bool DiskTrial::damageDisk() {
  if (damage_.isUsed) fs::copy(device_.data, data_, fs::copy_options::recursive);
  if (damage_.apply) damage_.apply(data_);
  if (!damage_.setAside.empty()) {
    damagedBytes_ = platform::contentOf(data_ + "/" + damage_.setAside);
    // A cut beyond the end.
    if (damagedBytes_ == platform::contentOf(device_.data + "/" + damage_.setAside)) return false;
  }
  // What the damage left alone is still to come.
  for (const Acceptance& waiting : device_.waiting) {
    const std::string copy = cacheOf(data_) + waiting.file.substr(waiting.file.rfind('/'));
    std::error_code ignored;
    if (fs::is_regular_file(copy, ignored) && fs::file_size(copy) < 100'000 &&
        platform::contentOf(copy) == platform::contentOf(waiting.file)) {
      accepted_.push_back(waiting);
    }
  }
  return true;
}

void DiskTrial::suffer() {
  LifeStory story = world_.story(who_ + "a", data_);
  story.merge(damage_.story);
  if (damage_.isOffline) story.set("server", nobodyListens);
  if (damage_.isGrouped) story.set("group", groupName);
  const LifeEnd end = Life(story, data_ + "-suffering").end();
  expect(end.isClean(), "the process " + end.text());
  accepted_.insert(accepted_.end(), end.accepted.begin(), end.accepted.end());
  if (!damage_.isOffline) expectArrived(who_ + "a");
  if (damage_.fate != StoreFate::uncertain) expectSetAside(end.log);
}

void DiskTrial::expectArrived(const std::string& who) {
  for (const char* event : {"Launched", "event-0", "event-1"}) {
    expect(world_.inbox.find(who, event).has_value(), fmt::format("{} of {} never came", event, who));
  }
}

void DiskTrial::expectSetAside(const std::string& log) {
  std::vector<std::string> aside;
  for (const auto& entry : fs::recursive_directory_iterator(data_)) {
    const std::string path = entry.path().lexically_relative(data_);
    if (path.ends_with("-wal") || path.ends_with("-shm") || path.starts_with(keychainKey)) continue;
    if (path.find(".corrupt-") != std::string::npos) aside.push_back(path);
  }
  const bool isLogged =
      log.find("Damaged database " + data_ + "/" + damage_.setAside + " set aside") != std::string::npos;
  if (damage_.setAside.empty()) {
    expect(aside.empty(), "set aside for no reason: " + (aside.empty() ? "" : aside.front()));
    return;
  }
  expect(aside.size() == 1 && aside.front().starts_with(damage_.setAside) &&
             platform::contentOf(data_ + "/" + aside.front()) == damagedBytes_,
         fmt::format("{} files set aside, or with another content", aside.size()));
  expect(isLogged, "the log does not say that it is set aside");
}

void DiskTrial::comeBack() {
  if (damage_.heal) damage_.heal(data_);
  LifeStory story = world_.story(who_ + "b", data_);
  if (damage_.isGrouped) story.set("group", groupName);
  const LifeEnd end = Life(story, data_ + "-afterwards").end();
  expect(end.isClean(), "the next process " + end.text());
  expect(end.log.find("Damaged database") == std::string::npos, "the next process finds damage, too");
  accepted_.insert(accepted_.end(), end.accepted.begin(), end.accepted.end());
  expectArrived(who_ + "b");
  const std::size_t lost = world_.inbox.missing(accepted_);
  expect(lost == 0, fmt::format("{} of {} accepted events are lost", lost, accepted_.size()));
  const std::size_t waiting = waitingRequests(data_);
  expect(waiting == 0, fmt::format("{} files stayed in the cache", waiting));
}

void DiskTrial::expectIdentity() {
  if (!damage_.isUsed || damage_.fate == StoreFate::uncertain) return;
  // Either of store and keychain is enough to know who this was first.
  expect(world_.inbox.textOf(who_ + "b", "Launched", "originalTrovixId") == device_.identifier,
         "the application has forgotten who it was");
  const bool isKept = damage_.fate != StoreFate::lost;
  expect((world_.inbox.textOf(who_ + "b", "Launched", "uid") == device_.identifier) == isKept, "the store's values");
  if (damage_.fate == StoreFate::kept && !damage_.isOffline) {
    expect(world_.inbox.textOf(who_ + "a", "Launched", "uid") == device_.identifier, "values could not be read");
  }
}

bool DiskTrial::run() {
  if (!damageDisk() || !world_.start()) return false;
  suffer();
  comeBack();
  expectIdentity();
  expect(world_.inbox.unreadable() == 0, "bodies that do not decrypt");
  if (fs::exists(data_ + "/outside")) {
    expect(platform::contentOf(data_ + "/outside/precious") == "of another application", "a foreign file is touched");
  }
  std::error_code ignored;
  fs::remove_all(data_, ignored);
  return true;
}

struct TrialCount {
  std::atomic<std::size_t> done{0};
  std::atomic<std::size_t> withoutEffect{0};
};

void runTrials(DiskWorld& world, const UsedDevice (&devices)[2], const std::vector<Damage>& damages,
               TrialCount& count) {
  std::atomic<std::size_t> next{0};
  const bool isFull = world.options.time >= fullDiskRun;
  const auto deadline = isFull ? DiskClock::time_point::max() : DiskClock::now() + world.options.time;
  std::vector<std::thread> threads;
  for (int i = 0; i < trialsAtOnce; ++i) {
    threads.emplace_back([&] {
      for (std::size_t number = next++; number < damages.size() && DiskClock::now() < deadline; number = next++) {
        const Damage& damage = damages[number];
        DiskTrial trial(world.options, world.report, devices[damage.isGrouped ? 1 : 0], damage, number);
        ++(trial.run() ? count.done : count.withoutEffect);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace

bool DiskWorld::start() {
  fs::create_directories(options.directory + "/tls");
  if (!report.expect(static_cast<bool>(server.start()), "disk: the stand-in does not start")) return false;
  // For the lives of a user who owns nothing.
  constexpr fs::perms reading =
      fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec;
  for (const std::string& path : {options.directory, options.directory + "/tls", server.caFile()}) {
    fs::permissions(path, reading, fs::perm_options::add);
  }
  return true;
}

void diskFaults(const Options& options, Report& report) {
  DiskWorld world(options, report);
  if (!world.start()) return;
  const UsedDevice devices[2] = {useDevice(world, false), useDevice(world, true)};
  std::vector<Damage> damages = everyDamage(options.seed);
  // When the time is short, another part of them is tried each time.
  std::shuffle(damages.begin(), damages.end(), std::mt19937(options.seed));
  const auto startedAt = DiskClock::now();
  TrialCount count;
  runTrials(world, devices, damages, count);
  const std::chrono::duration<double> elapsed = DiskClock::now() - startedAt;
  report.expect(count.done > 0, "disk: nothing was tried");
  report.note(
      fmt::format("disk: {} of {} kinds of full, read-only and damaged disks in {:.0f} s, seed {}, each with an "
                  "undisturbed start afterwards",
                  count.done.load(), damages.size() - count.withoutEffect, elapsed.count(), options.seed));
  shareGroup(world);
}

}  // namespace trovix::torture
