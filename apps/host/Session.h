#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/Output.h"
#include "host/Script.h"
#include "quorrel/QuorrelCore.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/LinuxPlatform.h"

namespace trovix::host {

/// What the command line says.
struct Options {
  std::string devKey = "demoKey4Trovix7Host";
  std::string appId = "id1234567890";
  std::optional<std::string> host;
  std::optional<std::string> hostPrefix;
  std::string connectTo;
  std::string certificateAuthorityFile;
  std::string dataDirectory;
  std::optional<Dictionary> deviceProfile;
  double timeOffset = 0;
  bool printCached = false;
  bool debug = false;
  bool trace = false;
  bool standIn = false;
};

/// The profile of a phone, for runs without one of their own.
[[nodiscard]] Dictionary builtInDeviceProfile();

/// What the delegate answers to the question for headers; asked from threads of the library.
class EspHeaders {
 public:
  void set(std::optional<Dictionary> headers) {
    const std::lock_guard lock(mutex_);
    headers_ = std::move(headers);
  }
  [[nodiscard]] std::optional<Dictionary> get() {
    const std::lock_guard lock(mutex_);
    return headers_;
  }

 private:
  std::mutex mutex_;
  std::optional<Dictionary> headers_;
};

/// A host application: the platform, the SDK, the agent, and the delegates that print what they hear. Main thread,
/// except where it prints.
class Session {
 public:
  /// Makes `TrovixLib::shared()`, so that it hears every notification from the first command on.
  explicit Session(Options options);

  void run(const Line& line) { line.command->run(*this, line.arguments); }
  /// Serves the main queue until `done`, at most that long.
  bool serveMainQueueUntil(const std::function<bool()>& done, std::chrono::duration<double> limit);
  /// Waits for the library to come to rest, then leaves.
  [[noreturn]] void finish();
  [[noreturn]] void quit();

  /// Of all that went wrong the highest counts: a time-out (3) more than a refused line (2).
  void raiseExitStatus(int status) noexcept { exitStatus_ = std::max(exitStatus_, status); }

  // What the commands do.
  void prepare();
  void setPrintingDelegate(const std::optional<std::string>& kind);
  void start();
  void finishLaunching(const Dictionary& options);
  void post(const char* notification, std::optional<Dictionary> userInfo = std::nullopt);
  void logEvent(const std::string& name, std::optional<Dictionary> values);
  void setProperty(const std::string& name, const Value& value);
  void getProperty(const std::string& name);
  void registerFacebookClass(const Dictionary& answer);
  void setDeepLinkDelegate(bool present);
  void setEspHeaders(std::optional<Dictionary> headers);
  void await(const std::string& name, double seconds);
  void idle(double seconds);
  void sleep(double seconds);

  [[nodiscard]] TrovixLib& sdk() { return TrovixLib::shared(); }
  [[nodiscard]] quorrel::QuorrelCore& agent() { return quorrel::QuorrelCore::shared(); }
  [[nodiscard]] platform::LinuxPlatform& platform() { return *platform_; }
  [[nodiscard]] Output& output() { return output_; }

 private:
  [[nodiscard]] std::shared_ptr<TrovixLibDelegate> makePrintingDelegate(const std::shared_ptr<TrovixLibDelegate>& next);
  void startStandIn();
  void timeOut(const std::string& what);

  Options options_;
  Output& output_;
  platform::LinuxPlatform* platform_ = nullptr;  // lives for the process
  std::shared_ptr<TrovixLibDelegate> delegate_;
  std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate_;
  std::shared_ptr<EspHeaders> espHeaders_;
  std::shared_ptr<TrovixLibDelegate> passedOnTo_;
  std::shared_ptr<quorrel::QuorrelObserver> observer_;
  int exitStatus_ = 0;
};

}  // namespace trovix::host
