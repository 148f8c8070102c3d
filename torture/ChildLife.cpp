#include <fmt/core.h>
#include <signal.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <thread>

#include "torture/Lives.h"
#include "trovix/Json.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/FileSystem.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::torture {
namespace {

using namespace std::chrono_literals;

constexpr const char* livingTelephone = R"json({
  "device": {"model": "iPhone", "systemName": "iOS", "systemVersion": "17.2",
             "identifierForVendor": "7D9E1B2C-4F5A-4C6B-8D7E-9F0A1B2C3D4E"},
  "bundle": {"identifier": "com.example.shop"},
  "frameworks": {"attStatus": 3, "advertisingIdentifier": "6E0F2A51-9C3D-4B7E-A1D2-3F4E5D6C7B8A", "adNetwork": true},
  "integrity": {"compromised": false, "debugger": false}
})json";

constexpr int notIdleStatus = 3;
constexpr int neverLeftStatus = 4;
constexpr auto lifeLimit = 60s;

/// Lets every so many changes fail, as a disk does on which there is room now and then.
class FailingFileSystem final : public platform::FileSystem {
 public:
  FailingFileSystem(platform::FileSystem& real, std::int64_t failEvery) : real_(real), failEvery_(failEvery) {}

  [[nodiscard]] bool exists(const std::string& path) const override { return real_.exists(path); }
  [[nodiscard]] std::size_t entryCount(const std::string& path) const override { return real_.entryCount(path); }
  [[nodiscard]] std::vector<std::string> walk(const std::string& path) const override { return real_.walk(path); }
  [[nodiscard]] bool isDirectory(const std::string& path) const override { return real_.isDirectory(path); }
  Result<Data> read(const std::string& path, std::size_t limit) const override { return real_.read(path, limit); }
  Status writeAtomically(const std::string& path, const Data& bytes) override {
    if (const auto failure = nextFailure(ENOSPC)) return *failure;
    return real_.writeAtomically(path, bytes);
  }
  Status remove(const std::string& path) override {
    if (const auto failure = nextFailure(EIO)) return *failure;
    return real_.remove(path);
  }
  Status createDirectories(const std::string& path) override {
    if (const auto failure = nextFailure(ENOSPC)) return *failure;
    return real_.createDirectories(path);
  }
  [[nodiscard]] std::optional<double> creationTime(const std::string& path) const override {
    return real_.creationTime(path);
  }
  [[nodiscard]] std::optional<double> modificationTime(const std::string& path) const override {
    return real_.modificationTime(path);
  }
  Result<platform::FileSystemSpace> space(const std::string& path) const override { return real_.space(path); }

 private:
  std::optional<Error> nextFailure(int code) {
    if (++changes_ % failEvery_ != 0) return std::nullopt;
    return Error(posixErrorDomain, code);
  }

  platform::FileSystem& real_;
  const std::int64_t failEvery_;
  std::atomic<std::int64_t> changes_{0};
};

rlim_t setFileSizeLimit(rlim_t limit) {
  rlimit limits{};
  ::getrlimit(RLIMIT_FSIZE, &limits);
  const rlim_t earlier = std::exchange(limits.rlim_cur, limit);
  ::setrlimit(RLIMIT_FSIZE, &limits);
  return earlier;
}

std::string storyText(const LifeStory& story, std::string_view key) {
  const std::string* text = story.string(key);
  return text != nullptr ? *text : "";
}

std::int64_t storyNumber(const LifeStory& story, std::string_view key) {
  const Value* value = story.find(key);
  return value != nullptr ? value->integerValue() : 0;
}

/// Never destroyed, as the SDK of an application is not.
class ChildLife {
 public:
  explicit ChildLife(LifeStory story);
  int run();

 private:
  void logEvents();
  void keepBusy();
  void reach(std::string_view stage);
  void leave();
  [[nodiscard]] bool isAtStage(std::string_view stage) const { return storyText(story_, "stage") == stage; }
  [[nodiscard]] int waitToLeave();
  [[nodiscard]] int waitUntilIdle();
  void print(const Dictionary& line);
  void endFileSizeLimit();

  const LifeStory story_;
  platform::LinuxPlatform platform_;
  FailingFileSystem failingFiles_;
  platform::Platform overFailingFiles_;
  std::shared_ptr<TrovixLibDelegate> delegate_;
  std::atomic_flag isLeaving_;
  std::promise<void> returns_;
  std::optional<rlim_t> earlierLimit_;
  platform::Mutex mutex_;
  // Held back while standard output, a file itself, must not grow.
  std::string lines_ TX_GUARDED_BY(mutex_);
};

ChildLife::ChildLife(LifeStory story)
    : story_(std::move(story)),
      platform_(platformOptionsOf(story_)),
      failingFiles_(platform_.services().fileSystem, std::max<std::int64_t>(storyNumber(story_, "failEvery"), 1)),
      overFailingFiles_(servicesWith(platform_.services(), failingFiles_, platform_.services().systemLog)) {
  platform::setDefaultPlatform(story_.contains("failEvery") ? overFailingFiles_ : platform_.services());
}

int ChildLife::run() {
  if (story_.contains("fileSizeLimit")) {
    ::signal(SIGXFSZ, SIG_IGN);
    earlierLimit_ = setFileSizeLimit(static_cast<rlim_t>(storyNumber(story_, "fileSizeLimit")));
  }
  TrovixLib& sdk = TrovixLib::shared();
  sdk.setRequestCacheObserver([this](const std::string& uuid, const std::string& file) {
    print({{"name", "cached"}, {"event", uuid}, {"file", file}});
    reach("cached");
  });
  delegate_ = std::make_shared<TrovixLibDelegate>();
  delegate_->onConversionDataSuccess = [this](const Dictionary&) { reach("mainCallback"); };
  sdk.setTrovixDevKey(livesDeveloperKey);
  sdk.setAppleAppID(Value("1234567890"));
  sdk.setCustomerUserID(storyText(story_, "who"));
  sdk.setDisableCollectASA(true);
  sdk.setDelegate(delegate_);
  // Events fall due later than the launch; all are logged before a stage of the launch can end the process.
  logEvents();
  sdk.startWithCompletionHandler([this](const auto&, const auto&) { reach("callback"); });
  if (story_.contains("busySeconds")) keepBusy();
  return story_.contains("stage") ? waitToLeave() : waitUntilIdle();
}

void ChildLife::logEvents() {
  for (std::int64_t i = 0; i < storyNumber(story_, "events"); ++i) {
    TrovixLib::shared().logEvent(fmt::format("event-{}", i), Dictionary{{"number", i}});
    // Two files of one ten-thousandth of a second would have one name.
    std::this_thread::sleep_for(1ms);
  }
}

void ChildLife::keepBusy() {
  TrovixLib& sdk = TrovixLib::shared();
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(storyNumber(story_, "busySeconds"));
  for (int i = 0; std::chrono::steady_clock::now() < until; ++i) {
    sdk.logEvent(fmt::format("busy-{}", i));
    sdk.setIsStopped(i % 2 == 0);
    sdk.setIsStopped(false);
    platform_.services().notificationCenter.post({platform::application::didEnterBackground, std::nullopt});
    std::this_thread::sleep_for(3ms);
  }
}

void ChildLife::reach(std::string_view stage) {
  if (isAtStage(stage)) leave();
}

void ChildLife::leave() {
  if (isLeaving_.test_and_set()) return;
  print({{"name", "leaving"}, {"at", std::chrono::steady_clock::now().time_since_epoch().count()}});
  const std::string way = storyText(story_, "way");
  if (way == "return") {
    returns_.set_value();
  } else if (way == "exitElsewhere") {
    std::thread([] { std::exit(leavingStatus); }).detach();
  } else if (way == "exitHere") {
    std::exit(leavingStatus);
  } else {
    ::_exit(leavingStatus);
  }
}

int ChildLife::waitToLeave() {
  reach("queued");
  if (isAtStage("signalled")) {
    const auto deadline = std::chrono::steady_clock::now() + lifeLimit;
    while (!std::filesystem::exists(storyText(story_, "signal")) && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(1ms);
    }
    reach("signalled");
  }
  return returns_.get_future().wait_for(lifeLimit) == std::future_status::ready ? leavingStatus : neverLeftStatus;
}

int ChildLife::waitUntilIdle() {
  const auto deadline = std::chrono::steady_clock::now() + lifeLimit;
  while (!platform_.isIdle()) {
    if (std::chrono::steady_clock::now() > deadline) return notIdleStatus;
    std::this_thread::sleep_for(1ms);
  }
  endFileSizeLimit();
  return 0;
}

void ChildLife::print(const Dictionary& line) {
  const platform::MutexLock lock(mutex_);
  lines_ += jsonText(line).value_or("") + "\n";
  if (earlierLimit_) return;
  if (::write(STDOUT_FILENO, lines_.data(), lines_.size()) > 0) lines_.clear();
}

void ChildLife::endFileSizeLimit() {
  if (!earlierLimit_) return;
  setFileSizeLimit(*earlierLimit_);
  const platform::MutexLock lock(mutex_);
  if (::write(STDOUT_FILENO, lines_.data(), lines_.size()) > 0) lines_.clear();
}

}  // namespace

platform::LinuxPlatformOptions platformOptionsOf(const LifeStory& story) {
  Dictionary profile = dictionaryFromJson(livingTelephone).value_or(Dictionary());
  // The buffer is large enough never to evict: what is lost is lost for no good reason.
  Dictionary info{{"CFBundleVersion", "42"}, {"CFBundleShortVersionString", "3.1.4"}, {"TrovixBufferSize", 100'000}};
  if (const std::string* group = story.string("group")) info.set("TrovixAppGroupName", *group);
  Dictionary bundle{{"identifier", "com.example.shop"}};
  bundle.set("info", std::move(info));
  profile.set("bundle", std::move(bundle));
  platform::LinuxPlatformOptions options;
  options.dataDirectory = storyText(story, "data");
  options.deviceProfile = std::move(profile);
  options.connectTo = storyText(story, "server");
  options.certificateAuthorityFile = storyText(story, "authority");
  options.mainQueueMode = platform::MainQueueMode::ownThread;
  return options;
}

platform::Platform servicesWith(const platform::Platform& services, platform::FileSystem& fileSystem,
                                platform::SystemLog& systemLog) {
  return {services.clock,
          services.queues,
          services.notificationCenter,
          services.userDefaults,
          services.keychain,
          services.bundle,
          services.environment,
          services.directories,
          fileSystem,
          services.console,
          systemLog,
          services.integrity,
          services.systemControl,
          services.device,
          services.screen,
          services.locale,
          services.networkInterfaces,
          services.urlSessions,
          services.backgroundTasks,
          services.frameworks,
          services.classRegistry};
}

int live(const std::string& text) {
  auto story = dictionaryFromJson(text);
  if (!story) return 2;
  constexpr uid_t nobody = 65534;
  // Before there is another thread, which would keep what it was made with.
  if (story->contains("asNobody")) ::setfsuid(nobody);
  static auto* const child = new ChildLife(*std::move(story));
  return child->run();
}

}  // namespace trovix::torture
