#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "trovix/Value.h"

namespace trovix {

/// The few values that survive the application's deletion. Any thread. The booleans say whether the operation
/// succeeded; a failed read cannot be told from a missing item.
class TXSDKKeychainProtocol {
 public:
  static constexpr const char* trovixIdKey = "KCTrovixId";
  static constexpr const char* reinstallCounterKey = "KCTrovixRICounter";

  virtual ~TXSDKKeychainProtocol() = default;
  /// Replaces the data of an item; false when there is none.
  virtual bool updateKey(std::string_view key, const Data& data) = 0;
  /// Adds, or updates when there is one. Always reports success.
  virtual bool setString(std::string_view string, std::string_view key) = 0;
  /// Nothing when there is no item, or its data is not text.
  [[nodiscard]] virtual std::optional<std::string> stringForKey(std::string_view key) = 0;
  /// Adds; false when an item exists.
  virtual bool setData(const Data& data, std::string_view key) = 0;
  [[nodiscard]] virtual std::optional<Data> dataForKey(std::string_view key) = 0;
  /// False when there is none.
  virtual bool removeKey(std::string_view key) = 0;
  /// Moves items of older versions to today's accessibility; the status of the last update, 0 when there was none.
  virtual std::int32_t migrateKeychainData() = 0;
};

}  // namespace trovix
