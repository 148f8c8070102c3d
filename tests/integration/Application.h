#pragma once

#include <mutex>

#include "collector/Collector.h"
#include "linux/TemporaryDirectory.h"
#include "quorrel/QuorrelCore.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/LinuxPlatform.h"

namespace trovix::test {

inline constexpr const char* devKey = "kVx2pQ9sLmN4";

/// Something that the application was told.
struct Told {
  std::string what;
  Dictionary data = {};
  std::optional<Error> error = {};
};

/// All that an application was told, by whatever thread.
class Hearing {
 public:
  void hear(Told told);
  /// What it was told by that name, once there is something.
  std::vector<Told> of(std::string_view what);

 private:
  std::mutex mutex_;
  std::vector<Told> told_;
};

/// The servers, on loopback, and a directory for devices.
struct World {
  explicit World(Dictionary scenario = {});
  /// The requests of a kind, once there are so many; fails when they do not come.
  std::vector<Dictionary> received(std::string_view kind, std::size_t count) const;

  platform::TemporaryDirectory directory;
  collector::Collector collector;
};

/// A phone whose data are in that directory, with what is particular about it.
struct Device {
  std::string directory;
  Dictionary profile = {};
  double timeOffset = 0;
};

/// One process of an application with the SDK and the agent in it, over the real platform.
struct Application {
  Application(const World& world, const Device& device);
  /// Ends as a process does.
  ~Application() { platform.shutDown(); }

  /// Developer key, application identifier and a delegate. Heard: "conversionData".
  void configure();
  /// Configures and starts. Heard: "start".
  void launch();
  /// Heard: "deepLink", with the click event and whether it is "deferred".
  void hearDeepLinks();
  /// The files that wait for delivery.
  [[nodiscard]] std::size_t cached() const;
  [[nodiscard]] bool comesToRest() const;

  Hearing hearing;
  std::shared_ptr<TrovixLibDelegate> delegate;
  std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate;
  const std::string directory;
  platform::LinuxPlatform platform;
  TrovixLib sdk;
  quorrel::QuorrelCore agent;
};

/// The text of an entry in a record's section, "(missing)" when there is none.
std::string textAt(const Dictionary& record, std::string_view section, std::string_view key);
inline std::string sent(const Dictionary& request, std::string_view key) { return textAt(request, "parameters", key); }
/// That the server could open the request and found its checksum right.
void expectGenuine(const Dictionary& request);

}  // namespace trovix::test
