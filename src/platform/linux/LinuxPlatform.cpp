#include "trovix/platform/LinuxPlatform.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/CurlURLSessions.h"
#include "platform/linux/DelayedTasks.h"
#include "platform/linux/DeviceProfile.h"
#include "platform/linux/LinuxBackgroundTasks.h"
#include "platform/linux/LinuxBundle.h"
#include "platform/linux/LinuxClassRegistry.h"
#include "platform/linux/LinuxClock.h"
#include "platform/linux/LinuxConsole.h"
#include "platform/linux/LinuxDirectories.h"
#include "platform/linux/LinuxEnvironment.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxFrameworks.h"
#include "platform/linux/LinuxIntegrity.h"
#include "platform/linux/LinuxLocale.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/LinuxNetworkInterfaces.h"
#include "platform/linux/LinuxNotificationCenter.h"
#include "platform/linux/LinuxQueues.h"
#include "platform/linux/LinuxSystemLog.h"
#include "platform/linux/ProcessExit.h"
#include "platform/linux/ProfileFacts.h"
#include "platform/linux/QueueHub.h"
#include "platform/linux/SqliteKeychain.h"
#include "platform/linux/SqliteUserDefaults.h"

namespace trovix::platform {
namespace {

constexpr std::chrono::seconds exitLimit(2);
// The longest that a loop's condition goes unasked.
constexpr std::chrono::milliseconds loopSlice(10);

std::string variableOr(const char* name, const std::string& fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : fallback;
}

std::string dataDirectory(const std::string& chosen) {
  if (!chosen.empty()) return chosen;
  std::error_code error;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
  const auto data = variableOr("XDG_DATA_HOME", variableOr("HOME", "/tmp") + "/.local/share");
  return data + "/" + (executable.empty() ? "trovix" : executable);
}

CurlOptions curlOptions(const LinuxPlatformOptions& options) {
  CurlOptions curl;
  curl.connectTo = options.connectTo;
  curl.certificateAuthorityFile = options.certificateAuthorityFile;
  curl.allowPlainHttp = options.allowPlainHttp;
  return curl;
}

}  // namespace

struct LinuxPlatform::Services {
  explicit Services(LinuxPlatformOptions options)
      : profile(std::move(options.deviceProfile)),
        clock(options.timeOffset),
        root(dataDirectory(options.dataDirectory)),
        directories(root + "/app"),
        fileSystem(directories.temporary(), profile),
        userDefaults(directories.library() + "/Preferences/standard.sqlite", root + "/group", systemLog),
        keychain(root + "/keychain", systemLog),
        bundle(profile, fileSystem, directories.container() + "/StoreKit/receipt"),
        integrity(profile),
        systemControl(profile),
        device(profile),
        screen(profile),
        locale(profile),
        interfaces(profile),
        frameworks(profile, std::move(options.adNetworkObserver)),
        classes(profile),
        queues(options.mainQueueMode, std::move(options.mainExecutor)),
        sessions(curlOptions(options), queues) {}

  /// Whether every thread ended, so that the services may go.
  bool end(std::chrono::nanoseconds limit) {
    if (!queues.hub()->isOwnProcess() || hasEnded.exchange(true)) return canBeDestroyed;
    const auto deadline =
        std::chrono::steady_clock::now() +
        std::clamp(limit, std::chrono::nanoseconds::zero(), std::chrono::nanoseconds(std::chrono::hours(1)));
    queues.drainUntil(deadline);
    const bool wireEnded = sessions.stopUntil(std::max(deadline, std::chrono::steady_clock::now() + loopSlice));
    canBeDestroyed = queues.stopUntil(deadline) && wireEnded;
    return canBeDestroyed;
  }

  DeviceProfile profile;
  LinuxClock clock;
  LinuxSystemLog systemLog;
  LinuxConsole console;
  LinuxNotificationCenter notificationCenter;
  LinuxEnvironment environment;
  LinuxBackgroundTasks backgroundTasks;
  const std::string root;
  LinuxDirectories directories;
  LinuxFileSystem fileSystem;
  SqliteUserDefaultsDomains userDefaults;
  SqliteKeychain keychain;
  LinuxBundle bundle;
  LinuxIntegrity integrity;
  ProfileSystemControl systemControl;
  ProfileDevice device;
  ProfileScreen screen;
  LinuxLocale locale;
  LinuxNetworkInterfaces interfaces;
  LinuxFrameworks frameworks;
  LinuxClassRegistry classes;
  LinuxQueues queues;
  CurlURLSessions sessions;
  std::atomic<bool> hasEnded{false};
  std::atomic<bool> canBeDestroyed{false};
  std::unique_ptr<ExitHandler> exitHandler;

  Platform platform{.clock = clock,
                    .queues = queues,
                    .notificationCenter = notificationCenter,
                    .userDefaults = userDefaults,
                    .keychain = keychain,
                    .bundle = bundle,
                    .environment = environment,
                    .directories = directories,
                    .fileSystem = fileSystem,
                    .console = console,
                    .systemLog = systemLog,
                    .integrity = integrity,
                    .systemControl = systemControl,
                    .device = device,
                    .screen = screen,
                    .locale = locale,
                    .networkInterfaces = interfaces,
                    .urlSessions = sessions,
                    .backgroundTasks = backgroundTasks,
                    .frameworks = frameworks,
                    .classRegistry = classes};
};

LinuxPlatform::LinuxPlatform(LinuxPlatformOptions options) : services_(std::make_shared<Services>(std::move(options))) {
  services_->exitHandler = std::make_unique<ExitHandler>([weak = std::weak_ptr<Services>(services_)] {
    if (const auto services = weak.lock()) (void)services->end(exitLimit);
  });
  // What cannot be made shows when it is first written to.
  (void)services_->directories.create(services_->fileSystem);
}

LinuxPlatform::~LinuxPlatform() {
  // A thread that did not end in time, or that only the parent of a fork has, may still hold what it uses.
  if (services_->end(exitLimit)) return;
  // Such services outlive their platform, reachable until the process has ended.
  struct KeptServices {
    std::shared_ptr<Services> services;
    KeptServices* next = nullptr;
  };
  static std::atomic<KeptServices*> keptServices{nullptr};
  // Without memory for it the process cannot go on: a thread would use what is gone.
  // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new)
  auto* const kept = new KeptServices{std::move(services_), keptServices.load()};
  while (!keptServices.compare_exchange_weak(kept->next, kept)) {
  }
}

Platform& LinuxPlatform::services() noexcept { return services_->platform; }

Result<Dictionary> LinuxPlatform::readDeviceProfile(const std::string& path) { return DeviceProfile::readFile(path); }

void LinuxPlatform::mergeDeviceProfile(const Dictionary& changes) { services_->profile.merge(changes); }

void LinuxPlatform::registerClass(const std::string& name, std::shared_ptr<AppLinkUtility> utility) {
  services_->classes.registerClass(name, std::move(utility));
}

void LinuxPlatform::runMainLoop() { services_->queues.linuxMainQueue().runLoop(); }

bool LinuxPlatform::runMainLoopUntil(const std::function<bool()>& done, std::chrono::nanoseconds limit) {
  return services_->queues.linuxMainQueue().serveUntil(done, timeAfter(limit), loopSlice);
}

void LinuxPlatform::stopMainLoop() { services_->queues.linuxMainQueue().stopLoop(); }

bool LinuxPlatform::isIdle() const {
  const auto& hub = *services_->queues.hub();
  return !hub.isOpen() || hub.isIdle();
}

void LinuxPlatform::shutDown(std::chrono::nanoseconds limit) { (void)services_->end(limit); }

}  // namespace trovix::platform
