#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "trovix/Value.h"

namespace trovix {

/// The SDK's small persistent state. Any thread; reads come from memory; no operation reports an error.
class TXSDKStorageProtocol {
 public:
  virtual ~TXSDKStorageProtocol() = default;

  // Typed reads convert as user defaults do (a stored true reads as "1"); what is missing reads as nothing, 0 or false.
  // So does what no request could carry (an infinity, a dictionary that JSON cannot hold): a damaged value must not
  // make every later event unreadable.
  [[nodiscard]] virtual std::optional<std::string> stringForKey(std::string_view key) = 0;
  [[nodiscard]] virtual double doubleForKey(std::string_view key) = 0;
  [[nodiscard]] virtual std::int64_t integerForKey(std::string_view key) = 0;
  [[nodiscard]] virtual std::optional<Dictionary> dictionaryForKey(std::string_view key) = 0;
  [[nodiscard]] virtual bool boolForKey(std::string_view key) = 0;

  // Writes are durable against the death of the process when they return. Nulls inside a dictionary are left out.
  virtual void setString(std::string_view string, std::string_view key) = 0;
  virtual void setDouble(double number, std::string_view key) = 0;
  virtual void setInteger(std::int64_t number, std::string_view key) = 0;
  virtual void setDictionary(const Dictionary& dictionary, std::string_view key) = 0;
  virtual void setBool(bool flag, std::string_view key) = 0;

  /// The dictionary archived under the key, or stored there plainly by an older version; else nothing.
  [[nodiscard]] virtual std::optional<Dictionary> unarchiveForKey(std::string_view key) = 0;
  /// Stores the object as archived data. Only a dictionary reads back; a dictionary that cannot be archived leaves what
  /// is stored.
  virtual void archive(const Value& object, std::string_view key) = 0;
  /// Changes the archived dictionary, if there is one; nothing else is archived in between.
  virtual void updateArchived(std::string_view key, const std::function<void(Dictionary&)>& change) = 0;
  virtual void removeKey(std::string_view key) = 0;
  /// Does nothing: every write persists by itself.
  virtual void save() = 0;
  /// Sees what other processes wrote. Called at the start of a serial job, never per read; before a counter rises it
  /// happens by itself.
  virtual void refresh() = 0;

  // Counters. Increments answer the new value; two in one process never give the same.
  [[nodiscard]] virtual std::int64_t launchCnt() = 0;
  virtual std::int64_t incrementLaunchCnt() = 0;
  [[nodiscard]] virtual std::int64_t inAppCnt() = 0;
  virtual std::int64_t incrementInAppCnt() = 0;
  /// One ahead of what is stored: it counts the session about to be reported.
  [[nodiscard]] virtual std::int64_t sessionCnt() = 0;
  virtual std::int64_t incrementSessionCnt() = 0;

  /// True while no first-launch date is stored.
  [[nodiscard]] virtual bool shouldResolveDDL() = 0;
};

}  // namespace trovix
