#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Persistent keys and property-list values. Reads come from memory; a write is durable against the death of
/// the process when it returns. Any thread. Failures are silent: a value that cannot be written stays in memory.
class TROVIX_API UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  /// The value, shared and immutable, or a null pointer.
  [[nodiscard]] virtual std::shared_ptr<const Value> object(std::string_view key) const = 0;
  /// A null value removes the key; nulls inside the value are left out.
  virtual void set(std::string_view key, Value value) = 0;
  /// Removes the key; a key that is not there is no failure.
  virtual void remove(std::string_view key) = 0;
  /// All or nothing: a missing value removes its key.
  virtual void setAll(const std::vector<std::pair<std::string, std::optional<Value>>>& values) = 0;
  /// Sees what other processes wrote. Called at the start of a job and before a counter rises, never per read.
  virtual void refresh() = 0;

  /// Typed reads convert as user defaults do: numbers and booleans read as text ("1"), text as numbers.
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  [[nodiscard]] double real(std::string_view key) const;
  [[nodiscard]] std::int64_t integer(std::string_view key) const;
  [[nodiscard]] bool boolean(std::string_view key) const;
  [[nodiscard]] std::optional<Dictionary> dictionary(std::string_view key) const;
};

/// The application's user defaults and the suites of its groups. Any thread.
class TROVIX_API UserDefaultsDomains {
 public:
  virtual ~UserDefaultsDomains() = default;
  /// The application's own.
  [[nodiscard]] virtual UserDefaults& standard() = 0;
  /// A suite shared between the processes of an application group, or a null pointer when it cannot be opened.
  /// The same name gives the same object. The object lives as long as the domains.
  [[nodiscard]] virtual UserDefaults* suite(std::string_view name) = 0;
};

}  // namespace trovix::platform
