#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/LinuxPlatform.h"

namespace trovix::torture::faults {

inline constexpr const char* developerKey = "torture-developer-key-4";

/// What the application on a telephone was told. Any thread.
class Ears {
 public:
  void hear(const std::string& what);
  /// All of it, in order, with commas between.
  [[nodiscard]] std::string heard() const;
  void forget();

 private:
  mutable platform::Mutex mutex_;
  std::vector<std::string> heard_ TX_GUARDED_BY(mutex_);
};

/// One process of an application on a telephone, over the real platform.
class Phone {
 public:
  /// `connectTo` is the server's address, `authority` the file that vouches for it.
  Phone(const std::string& directory, const std::string& connectTo, const std::string& authority);
  /// Ends as a process does.
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  [[nodiscard]] TrovixLib& sdk() noexcept { return sdk_; }
  /// Everything that the application hands to the SDK holds these.
  [[nodiscard]] const std::shared_ptr<Ears>& ears() const noexcept { return ears_; }
  /// Hears of conversion data and of links that open the application.
  void setDelegate();
  /// Hears of resolved deep links.
  void setDeepLinkDelegate();
  void post(const char* notification);

  /// Whether nothing is under way any more before the time is over.
  [[nodiscard]] bool comesToRest(std::chrono::seconds limit) const;
  /// The requests that wait for another try.
  [[nodiscard]] std::size_t cached() const;
  /// Returns when there are so many, or the time is over.
  void waitUntilCached(std::size_t count, std::chrono::seconds limit) const;

 private:
  const std::string directory_;
  const std::shared_ptr<Ears> ears_ = std::make_shared<Ears>();
  std::shared_ptr<TrovixLibDelegate> delegate_;
  std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate_;
  platform::LinuxPlatform platform_;
  TrovixLib sdk_;
};

}  // namespace trovix::torture::faults
