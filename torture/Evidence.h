#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/Mutex.h"
#include "torture/Torture.h"
#include "trovix/Value.h"

namespace trovix::torture {

/// What reached the server, through all lives of the application. An event is known by the time stamp in its body,
/// which its request takes along through the cache.
class Arrivals {
 public:
  /// Notes a request as the stand-in reports it. Any thread.
  void add(const Dictionary& request);

  [[nodiscard]] bool has(const std::string& timestamp) const;
  /// Whether the installation itself was reported.
  [[nodiscard]] bool hasFirstLaunch() const;
  [[nodiscard]] std::size_t requests() const;
  /// How many events came more than once, and how often the most frequent one came.
  struct Repeats {
    std::size_t events = 0;
    int most = 0;
  };
  [[nodiscard]] Repeats repeats() const;
  /// Fails for every request that could not be opened, for counters that went back, and for an application that
  /// forgot who it was.
  void judge(const std::string& name, Report& report) const;

 private:
  void follow(const char* name, std::int64_t count, std::int64_t& latest) TX_REQUIRES(mutex_);

  mutable platform::Mutex mutex_;
  std::unordered_map<std::string, int> arrivals_ TX_GUARDED_BY(mutex_);
  std::size_t requests_ TX_GUARDED_BY(mutex_) = 0;
  std::size_t unreadable_ TX_GUARDED_BY(mutex_) = 0;
  bool hasFirstLaunch_ TX_GUARDED_BY(mutex_) = false;
  std::int64_t launches_ TX_GUARDED_BY(mutex_) = 0;
  std::int64_t inAppEvents_ TX_GUARDED_BY(mutex_) = 0;
  std::vector<std::string> stepsBack_ TX_GUARDED_BY(mutex_);
  std::set<std::string> identities_ TX_GUARDED_BY(mutex_);
};

/// What the hosts said they had put into the cache: time stamps by file.
class Acceptances {
 public:
  /// Reads the `cached` lines of one host's output.
  void addOutput(const std::string& outputFile);

  [[nodiscard]] std::size_t events() const noexcept { return events_; }
  /// The stamp of every event that had its file for itself.
  [[nodiscard]] std::vector<std::string> accepted() const;

 private:
  std::map<std::string, std::vector<std::string>> stampsByFile_;
  std::size_t events_ = 0;
};

/// Opens copies of a dead host's stores, so that the next host finds the files as this one left them: each must pass
/// SQLite's own check and be readable for the library, the counters must not go back, and the keychain must not forget.
class StoreWatch {
 public:
  StoreWatch(std::string dataDirectory, std::string scratchDirectory, Report& report)
      : dataDirectory_(std::move(dataDirectory)), scratchDirectory_(std::move(scratchDirectory)), report_(report) {}

  void inspect(const std::string& when);
  [[nodiscard]] std::size_t inspected() const noexcept { return inspected_; }

 private:
  void readCounters(const std::string& store, const std::string& when);
  void readKeychain(const std::string& when);

  const std::string dataDirectory_;
  const std::string scratchDirectory_;
  Report& report_;
  std::size_t inspected_ = 0;
  std::set<std::string> setAside_;
  std::int64_t launches_ = 0;
  std::int64_t inAppEvents_ = 0;
  std::string keptIdentifier_;
};

}  // namespace trovix::torture
