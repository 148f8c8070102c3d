#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "storage/TXSDKStorageProtocol.h"

namespace trovix::platform {
class Bundle;
class UserDefaultsDomains;
}  // namespace trovix::platform

namespace trovix {

/// Chooses the store once, when the SDK is made, and migrates the known keys into a group suite once per suite.
class TXSDKStorageFactory {
 public:
  TXSDKStorageFactory(platform::UserDefaultsDomains& domains, const platform::Bundle& bundle);

  [[nodiscard]] std::unique_ptr<TXSDKStorageProtocol> defaultStorage() const;
  /// `statusCode`: untouched when there is nothing to do, 1 migrated now, 2 an extension before migration,
  /// -1 the suite could not be opened. The last two give the default store.
  [[nodiscard]] std::unique_ptr<TXSDKStorageProtocol> storageWithSuiteName(const std::string& suiteName,
                                                                           std::int8_t& statusCode,
                                                                           bool isAppClip) const;

 private:
  platform::UserDefaultsDomains& domains_;
  const platform::Bundle& bundle_;
};

}  // namespace trovix
