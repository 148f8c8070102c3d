#include <fmt/core.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "linux/TemporaryDirectory.h"
#include "platform/linux/SqliteUserDefaults.h"
#include "storage/StorageKeys.h"
#include "torture/DiskWorld.h"

namespace trovix::torture {
namespace {

namespace fs = std::filesystem;

constexpr int groupKills = 12;
constexpr int groupBusySeconds = 8;

class SharedGroup {
 public:
  explicit SharedGroup(DiskWorld& world) : world_(world) {}
  void run();

 private:
  /// A life of one of the applications, which are at home in directories of their own.
  [[nodiscard]] Life live(const std::string& who, int busySeconds) const;
  void note(const LifeEnd& end);
  void killAgainAndAgain();
  void comeBack();
  void judge();
  bool expect(bool condition, const std::string& text) {
    return world_.report.expect(condition, "disk: two processes on one group: " + text);
  }

  DiskWorld& world_;
  const std::string root_ = world_.options.directory + "/shared";
  std::vector<Acceptance> accepted_;
};

Life SharedGroup::live(const std::string& who, int busySeconds) const {
  const std::string data = root_ + "/" + who;
  fs::create_directories(data);
  fs::create_directories(root_ + "/group");
  std::error_code exists;
  fs::create_directory_symlink(root_ + "/group", data + "/group", exists);
  LifeStory story = world_.story(who, data);
  story.set("group", groupName);
  if (busySeconds > 0) story.set("busySeconds", busySeconds);
  return Life(story, root_ + "-" + who);
}

void SharedGroup::note(const LifeEnd& end) {
  accepted_.insert(accepted_.end(), end.accepted.begin(), end.accepted.end());
  const bool isUsable =
      end.log.find("Damaged") == std::string::npos && end.log.find("cannot be written") == std::string::npos;
  expect(isUsable, "the store could not be used: " + end.text());
}

void SharedGroup::killAgainAndAgain() {
  std::mt19937 random(world_.options.seed);
  Life survivor = live("survivor", groupBusySeconds);
  for (int i = 0; i < groupKills; ++i) {
    Life victim = live("victim", groupBusySeconds);
    std::this_thread::sleep_for(std::chrono::milliseconds(50 + random() % 600));
    note(victim.kill());
  }
  const LifeEnd end = survivor.end();
  expect(end.isClean(), "the survivor " + end.text());
  note(end);
}

void SharedGroup::comeBack() {
  for (const char* who : {"survivor", "victim"}) {
    const LifeEnd end = live(who, 0).end();
    expect(end.isClean(), fmt::format("{}, afterwards, {}", who, end.text()));
    note(end);
    expect(waitingRequests(root_ + "/" + who) == 0, "requests stayed in the cache");
  }
}

void SharedGroup::judge() {
  const std::size_t lost = world_.inbox.missing(accepted_);
  expect(lost == 0 && accepted_.size() > 50, fmt::format("{} of {} accepted events are lost", lost, accepted_.size()));
  platform::RecordingLog log;
  const platform::SqliteUserDefaults store(root_ + "/group/" + groupName + ".sqlite", log);
  expect(store.isPersistent() && log.lines.empty(), "the store does not open");
  // What two processes count at once may be counted once.
  expect(store.integer(storageKey::launchCounter) > 2 && store.integer(storageKey::inAppCounter) > 20 &&
             store.integer(storageKey::sessionCounter) > 20 && store.boolean(storageKey::stopTrackingUsed),
         "the store lacks what was written");
  world_.report.note(
      fmt::format("disk: two processes on one group, one of them killed {} times: {} events accepted, "
                  "{} lost",
                  groupKills, accepted_.size(), lost));
}

void SharedGroup::run() {
  killAgainAndAgain();
  comeBack();
  judge();
}

}  // namespace

void shareGroup(DiskWorld& world) { SharedGroup(world).run(); }

}  // namespace trovix::torture
