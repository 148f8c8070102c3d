#pragma once

#include <chrono>
#include <memory>

#include "support/SimulatedDisk.h"
#include "support/SimulatedFacts.h"
#include "support/SimulatedFrameworks.h"
#include "support/SimulatedNetwork.h"
#include "support/SimulatedStorage.h"
#include "support/SimulatedTime.h"
#include "trovix/platform/Platform.h"

namespace trovix::test {

/// A device for one process: every service in memory, on the test's own thread and in virtual time. Nothing runs and no
/// time passes unless the test says so. A second device over the same disk is the next process.
class SimulatedDevice {
 public:
  explicit SimulatedDevice(std::shared_ptr<SimulatedDisk> disk = std::make_shared<SimulatedDisk>());
  /// Tasks that wait are dropped, as when the process is killed. Objects over the platform must be gone by then, or
  /// held by such tasks only.
  ~SimulatedDevice();
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  platform::Platform& platform() { return platform_; }
  operator platform::Platform&() { return platform_; }

  void runUntilIdle() { queues.runUntilIdle(); }
  /// Both clocks move through everything that falls due.
  void advance(double seconds) { queues.advance(std::chrono::nanoseconds(saturatingInteger(seconds * 1e9))); }
  void advance(std::chrono::nanoseconds duration) { queues.advance(duration); }
  /// Sets the wall clock only, seconds since 1970.
  void setNow(double secondsSince1970) { clock.set(secondsSince1970); }
  double now() const { return clock.now(); }

  const std::shared_ptr<SimulatedDisk> disk;
  SimulatedClock clock;
  SimulatedQueues queues;
  SimulatedNotificationCenter notificationCenter;
  SimulatedUserDefaultsDomains userDefaults;
  SimulatedKeychain keychain;
  SimulatedBundle bundle;
  SimulatedEnvironment environment;
  SimulatedDirectories directories;
  SimulatedFileSystem fileSystem;
  SimulatedConsole console;
  SimulatedSystemLog systemLog;
  SimulatedIntegrity integrity;
  SimulatedSystemControl systemControl;
  SimulatedDeviceFacts facts;
  SimulatedScreen screen;
  SimulatedLocale locale;
  SimulatedNetworkInterfaces networkInterfaces;
  SimulatedNetwork network;
  SimulatedBackgroundTasks backgroundTasks;
  SimulatedFrameworks frameworks;
  SimulatedClassRegistry classRegistry;

 private:
  template <typename... Ports>
  static platform::Platform platformOf(Ports&... ports) {
    return {ports...};
  }
  platform::Platform platform_ =
      platformOf(clock, queues, notificationCenter, userDefaults, keychain, bundle, environment, directories,
                 fileSystem, console, systemLog, integrity, systemControl, facts, screen, locale, networkInterfaces,
                 network, backgroundTasks, frameworks, classRegistry);
};

}  // namespace trovix::test
