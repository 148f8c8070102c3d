#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Mutex.h"
#include "torture/HostProcess.h"
#include "torture/Torture.h"
#include "trovix/Value.h"
#include "trovix/platform/LinuxPlatform.h"

namespace trovix::torture {

inline constexpr const char* livesDeveloperKey = "torture-developer-key-2";
/// Makes this program the child that lives the life after it.
inline constexpr const char* lifeArgument = "--live";

/// What one process of an application does, from its start to its end. A child is given it as JSON:
///
///     "who"            its customer user identifier, by which its requests are known
///     "data"           the directory of its device
///     "server", "authority"  where every connection goes, and who vouches for it
///     "group"          the name of its application group
///     "events"         how many it logs after its launch; they are named "event-0" and so on
///     "fileSizeLimit"  bytes; nothing it writes may grow beyond them
///     "failEvery"      every so many changes of a file through the file-system port fail
///     "asNobody"       its file accesses are those of a user who owns nothing
///     "busySeconds"    for so long it also sets settings, counts sessions and logs on
///     "stage", "way", "signal"  where and how it leaves, and the file whose appearance is the stage "signalled";
///                      else it ends when nothing is left to do
using LifeStory = Dictionary;

/// The exit status of a life that left at its stage.
inline constexpr int leavingStatus = 7;

/// The options of the platform of such a life.
[[nodiscard]] platform::LinuxPlatformOptions platformOptionsOf(const LifeStory& story);
/// The same services over another file system and another log.
[[nodiscard]] platform::Platform servicesWith(const platform::Platform& services, platform::FileSystem& fileSystem,
                                              platform::SystemLog& systemLog);
/// Lives it, in the child, and answers the process's exit status.
[[nodiscard]] int live(const std::string& story);

/// A request whose cache file was written, known by the time stamp in its body.
struct Acceptance {
  std::string stamp;
  std::string file;
};

struct LifeEnd {
  HostProcess::Ending ending;
  std::vector<Acceptance> accepted;
  /// Events whose file had the name of another one's, made in the same ten-thousandth of a second; not accepted.
  std::size_t overwritten = 0;
  /// From the moment at which it began to leave at its stage to its end; nothing if it never left.
  std::optional<std::chrono::milliseconds> leaving;
  /// Standard error.
  std::string log;

  /// Ended with that status, and nothing that watches over memory or threads had anything to report.
  [[nodiscard]] bool isClean(int status = 0) const;
  [[nodiscard]] std::string text() const;
};

/// A child of this program that lives a story. It does not outlive the object.
class Life {
 public:
  /// What the child prints goes to `outputFile` and `outputFile`.err.
  Life(const LifeStory& story, std::string outputFile);
  /// Waits for its end; one that does not come is an ending by kill.
  [[nodiscard]] LifeEnd end(std::chrono::seconds limit = std::chrono::seconds(90));
  /// Kills it.
  [[nodiscard]] LifeEnd kill();

 private:
  [[nodiscard]] LifeEnd endOf(HostProcess::Ending ending) const;

  const std::string outputFile_;
  HostProcess process_;
};

/// The events that reached the stand-in. Any thread.
class Inbox {
 public:
  /// Notes a request as the stand-in reports it.
  void add(const Dictionary& request);
  /// How many of the accepted never came.
  [[nodiscard]] std::size_t missing(const std::vector<Acceptance>& accepted) const;
  /// The latest parameters of an event of that life; launches are called "Launched".
  [[nodiscard]] std::optional<Dictionary> find(const std::string& who, const std::string& event) const;
  /// The text of such a parameter, "(missing)" when there is none.
  [[nodiscard]] std::string textOf(const std::string& who, const std::string& event, std::string_view key) const;
  /// How many bodies did not decrypt, or had a wrong checksum.
  [[nodiscard]] std::size_t unreadable() const;

 private:
  mutable platform::Mutex mutex_;
  std::map<std::pair<std::string, std::string>, Dictionary> events_ TX_GUARDED_BY(mutex_);
  std::map<std::string, int, std::less<>> stamps_ TX_GUARDED_BY(mutex_);
  std::size_t unreadable_ TX_GUARDED_BY(mutex_) = 0;
};

/// How many requests wait in the cache of the device with that directory.
[[nodiscard]] std::size_t waitingRequests(const std::string& dataDirectory);
inline std::string cacheOf(const std::string& dataDirectory) { return dataDirectory + "/app/Library/Caches/trovix-v1"; }

}  // namespace trovix::torture
