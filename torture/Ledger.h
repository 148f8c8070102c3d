#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "platform/Mutex.h"
#include "torture/Torture.h"
#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::torture {

/// What every event's completion and the server said. Any thread.
class Ledger {
 public:
  /// The name of an event that is about to be logged.
  [[nodiscard]] std::string newEvent();
  void didComplete(const std::string& name, const std::optional<Error>& error);
  /// The cache file of a request was written.
  void didAccept(const std::string& uuid);
  /// A request as the stand-in reports it.
  void didReceive(const Dictionary& request);
  /// Events whose completion was not called yet.
  [[nodiscard]] std::int64_t underWay() const;
  [[nodiscard]] std::int64_t completed() const;
  /// Fails for everything that is missing, or came twice.
  void judge(Report& report) const;
  [[nodiscard]] std::string summary() const;

 private:
  struct Event {
    int completions = 0;
    bool isRefused = false;
    bool isReceived = false;
  };

  mutable platform::Mutex mutex_;
  std::unordered_map<std::string, Event> events_ TX_GUARDED_BY(mutex_);
  std::unordered_set<std::string> accepted_ TX_GUARDED_BY(mutex_);
  std::unordered_set<std::string> stamps_ TX_GUARDED_BY(mutex_);
  std::int64_t completed_ TX_GUARDED_BY(mutex_) = 0;
  std::size_t requests_ TX_GUARDED_BY(mutex_) = 0;
  std::size_t unreadable_ TX_GUARDED_BY(mutex_) = 0;
};

}  // namespace trovix::torture
