#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "network/TXSDKEvent.h"

namespace trovix::platform {
class Clock;
class Directories;
class FileSystem;
}  // namespace trovix::platform

namespace trovix {

/// Requests on disk, one property-list file each. Reading happens once, while the SDK starts; writing and deleting come
/// from the serial and the buffer queue.
class TXSDKEventCache {
 public:
  static constexpr std::size_t capacity = 46;

  TXSDKEventCache(platform::FileSystem& fileSystem, const platform::Directories& directories,
                  const platform::Clock& clock);

  /// Makes the directory when it is not there.
  [[nodiscard]] std::string cacheDirectory();
  /// Gives the event its path and writes it; drops it (and logs) when the directory holds 46 entries of any name.
  void cacheEvent(TXSDKEvent& event);
  /// The valid stored events by path; invalid files are deleted, files that cannot be read for a passing reason stay.
  [[nodiscard]] std::vector<TXSDKEvent> cachedEvents();
  /// Nothing for an event without a path.
  void deleteEvent(const TXSDKEvent& event);

  /// Told of every file that is on disk. Set before the first event; called on the writing thread.
  using Observer = std::function<void(const TXSDKEvent& event)>;
  void setObserver(Observer observer);

 private:
  /// Reads one entry; nothing when it cannot be read for a passing reason. What is no event comes back invalid.
  [[nodiscard]] std::optional<TXSDKEvent> readEvent(const std::string& path) const;
  /// Seconds since 2001-01-01 UTC, the origin of file names.
  [[nodiscard]] double referenceTime() const;

  platform::FileSystem& fileSystem_;
  const platform::Directories& directories_;
  const platform::Clock& clock_;
  std::once_flag once_;
  std::string directory_;  // set once
  Observer observer_;
};

}  // namespace trovix
