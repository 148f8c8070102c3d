#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Mutex.h"
#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// What the host says about the device: sections of facts. Every read checks the type, and a fact of another type is
/// absent. Any thread.
class DeviceProfile {
 public:
  explicit DeviceProfile(Dictionary facts = {});

  /// Reads a profile from a JSON file.
  static Result<Dictionary> readFile(const std::string& path);

  /// Facts of a section replace their namesakes and leave the others; null removes one. "disk" is either sizes or an
  /// error, so each drives the other out.
  void merge(const Dictionary& changes);

  /// All facts as they stand. Never null.
  [[nodiscard]] std::shared_ptr<const Dictionary> snapshot() const;

  // One fact by its path of names, {"device", "model"}.
  using Path = std::initializer_list<std::string_view>;
  [[nodiscard]] std::optional<Value> value(Path path) const;
  [[nodiscard]] std::optional<std::string> string(Path path) const;
  [[nodiscard]] std::optional<bool> boolean(Path path) const;
  /// Integers, and reals without a fraction.
  [[nodiscard]] std::optional<std::int64_t> integer(Path path) const;
  [[nodiscard]] std::optional<double> real(Path path) const;

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const Dictionary> facts_ TX_GUARDED_BY(mutex_);
};

/// The value below nested dictionaries, or a null pointer when a name is missing, is null or leads through something
/// else.
[[nodiscard]] const Value* factAt(const Dictionary& facts, DeviceProfile::Path path) noexcept;
/// The value when it is a whole number that fits.
[[nodiscard]] std::optional<std::int64_t> wholeNumber(const Value* value) noexcept;

}  // namespace trovix::platform
