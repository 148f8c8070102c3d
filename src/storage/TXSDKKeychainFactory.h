#pragma once

#include <cstdint>
#include <memory>

#include "storage/TXSDKKeychainProtocol.h"

namespace trovix::platform {
class Keychain;
}

namespace trovix {

class TXSDKKeychainFactory {
 public:
  /// 0 is the keychain, which outlives the object; 1 the inert variant that keeps nothing; null for any other type.
  [[nodiscard]] static std::unique_ptr<TXSDKKeychainProtocol> keychainWithType(std::int64_t type,
                                                                               platform::Keychain& keychain);
};

}  // namespace trovix
