#include "storage/TXSDKKeychainFactory.h"

#include "storage/TXSDKmacOSKeychain.h"
#include "storage/TrovixKeychainWrapper.h"

namespace trovix {

std::unique_ptr<TXSDKKeychainProtocol> TXSDKKeychainFactory::keychainWithType(std::int64_t type,
                                                                              platform::Keychain& keychain) {
  if (type == 0) return std::make_unique<TrovixKeychainWrapper>(keychain);
  if (type == 1) return std::make_unique<TXSDKmacOSKeychain>();
  return nullptr;
}

}  // namespace trovix
