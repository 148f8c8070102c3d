#pragma once

#include "storage/TXSDKKeychainProtocol.h"
#include "trovix/platform/Keychain.h"

namespace trovix {

/// Generic-password items in the system's keychain, readable after the first unlock on this device only.
class TrovixKeychainWrapper final : public TXSDKKeychainProtocol {
 public:
  /// The keychain outlives the wrapper.
  explicit TrovixKeychainWrapper(platform::Keychain& keychain) : keychain_(keychain) {}

  bool updateKey(std::string_view key, const Data& data) override;
  bool setString(std::string_view string, std::string_view key) override;
  std::optional<std::string> stringForKey(std::string_view key) override;
  bool setData(const Data& data, std::string_view key) override;
  std::optional<Data> dataForKey(std::string_view key) override;
  bool removeKey(std::string_view key) override;
  std::int32_t migrateKeychainData() override;

 private:
  /// The attributes of the key's item; of a key that is no text the item class only.
  [[nodiscard]] static Dictionary prepareForKeychain(std::string_view key);

  platform::Keychain& keychain_;
};

}  // namespace trovix
