#pragma once

#include <cstdint>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// Status codes of the keychain.
namespace keychainStatus {
inline constexpr std::int32_t success = 0;
inline constexpr std::int32_t parameter = -50;
inline constexpr std::int32_t notAvailable = -25291;
inline constexpr std::int32_t duplicateItem = -25299;
inline constexpr std::int32_t itemNotFound = -25300;
}  // namespace keychainStatus

/// Attribute names and values of items and queries.
namespace keychainAttribute {
inline constexpr const char* itemClass = "class";
inline constexpr const char* classGenericPassword = "genp";
inline constexpr const char* generic = "gena";
inline constexpr const char* account = "acct";
inline constexpr const char* service = "svce";
inline constexpr const char* accessible = "pdmn";
inline constexpr const char* accessibleAfterFirstUnlockThisDeviceOnly = "cku";
inline constexpr const char* accessibleAlwaysThisDeviceOnly = "dku";
inline constexpr const char* valueData = "v_Data";
inline constexpr const char* matchLimit = "m_Limit";
inline constexpr const char* matchLimitOne = "m_LimitOne";
inline constexpr const char* returnData = "r_Data";
}  // namespace keychainAttribute

/// Secrets that survive the application's own data. Items are matched by their attributes; an item is
/// identified by class, account and service. Any thread; every call gives a status code.
class TROVIX_API Keychain {
 public:
  virtual ~Keychain() = default;
  /// Fails with duplicateItem when an item of that identity exists.
  virtual std::int32_t add(const Dictionary& attributes) = 0;
  /// The data of the first item that has all the query's attributes.
  virtual std::int32_t copyMatching(const Dictionary& query, Data& result) = 0;
  /// Sets the attributes of every matching item.
  virtual std::int32_t update(const Dictionary& query, const Dictionary& attributesToUpdate) = 0;
  /// Removes every matching item.
  virtual std::int32_t remove(const Dictionary& query) = 0;
};

}  // namespace trovix::platform
