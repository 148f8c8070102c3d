#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/Value.h"
#include "trovix/platform/Platform.h"

namespace trovix::platform {

class AppLinkUtility;

/// Who runs the tasks of the main queue.
enum class MainQueueMode : std::uint8_t {
  /// The host calls `runMainLoop`.
  hostLoop,
  /// The host's own event loop: `mainExecutor` posts a task to it.
  executor,
  /// A thread of the library.
  ownThread,
};

/// How a Linux platform is set up. The defaults suit an application that runs the main loop itself.
struct LinuxPlatformOptions {
  /// Where everything that persists lives: DIR/app is the application's container (Library, Library/Caches, Documents,
  /// tmp, user defaults), DIR/group the app-group suites, DIR/keychain the keychain. Empty: the user's data directory
  /// ($XDG_DATA_HOME or ~/.local/share), below the executable's name.
  ///
  /// The keychain is a database whose values are sealed with AES-256-GCM under a random key in a file beside it; both
  /// have mode 0600. The seal protects a copy of the database that travels without the key file (a backup of one file,
  /// a disk image searched for text) and shows values that were altered or moved to another item. It does not protect
  /// against anyone who can read the directory as this user: key and database lie side by side, and a Linux process
  /// without a login session has no better place. Only the data is sealed, not the other attributes.
  std::string dataDirectory = {};
  /// The device profile: facts that a Linux machine does not have. What is absent takes its failure default, except
  /// that the network interfaces, the time zone, the disk space and whether a debugger is attached come from the
  /// machine when the profile does not say.
  Dictionary deviceProfile = {};
  /// "ADDRESS:PORT": every HTTPS connection goes there; names and certificates are still checked against the URL's
  /// host.
  std::string connectTo = {};
  /// Trusted certificate authorities (PEM) instead of the system's.
  std::string certificateAuthorityFile = {};
  /// Seconds added to the wall clock.
  double timeOffset = 0;
  /// Plain http is otherwise refused except to loopback addresses.
  bool allowPlainHttp = false;
  MainQueueMode mainQueueMode = MainQueueMode::hostLoop;
  /// For MainQueueMode::executor: posts the task to the host's event loop and returns. Any thread.
  std::function<void(std::function<void()>)> mainExecutor = {};
  /// Told when the ad network class is called: std::nullopt for a registration, the value for an update. Any thread.
  /// Must not throw.
  std::function<void(std::optional<std::int64_t> value)> adNetworkObserver = {};
};

/// The services of a Linux machine. Must outlive everything that was given its platform; usually it lives for the
/// process. At the end of the process it stops its threads, bounded in time, and cancels nothing.
class TROVIX_API LinuxPlatform {
 public:
  explicit LinuxPlatform(LinuxPlatformOptions options = {});
  ~LinuxPlatform();
  LinuxPlatform(const LinuxPlatform&) = delete;
  LinuxPlatform& operator=(const LinuxPlatform&) = delete;

  /// The services, which live as long as this object.
  [[nodiscard]] Platform& services() noexcept;

  /// Reads a device profile from a JSON file.
  static Result<Dictionary> readDeviceProfile(const std::string& path);
  /// Merges into the device profile, section by section. Any thread.
  void mergeDeviceProfile(const Dictionary& changes);
  /// Makes a companion SDK's class known by name; null is a class that cannot fetch links. Any thread.
  void registerClass(const std::string& name, std::shared_ptr<AppLinkUtility> utility);

  /// Serves the main queue on the calling thread until `stopMainLoop`. Only in hostLoop mode.
  void runMainLoop();
  /// Serves the main queue on the calling thread until `done` answers true (asked after every task, and at least every
  /// 10 ms), or the time is over; answers whether it was done. Only in hostLoop mode.
  bool runMainLoopUntil(const std::function<bool()>& done, std::chrono::nanoseconds limit);
  /// Any thread.
  void stopMainLoop();

  /// Whether no one-shot timer is pending, no task waits or runs on any queue but the caller's own, and nothing is on
  /// the wire; true after `shutDown`. Any thread.
  [[nodiscard]] bool isIdle() const;
  /// Ends the platform's work as the end of the process does: delayed tasks fall due at once, tasks get up to `limit`
  /// to run, those of the main queue on the calling thread, then threads stop. No request goes out any more, and what
  /// is on the wire then is abandoned without a completion. Later calls do nothing. Any thread, and from a task: that
  /// task's queue does not wait for its return.
  void shutDown(std::chrono::nanoseconds limit = std::chrono::seconds(2));

 private:
  struct Services;
  std::shared_ptr<Services> services_;
};

}  // namespace trovix::platform
