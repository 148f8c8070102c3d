#pragma once

#include "storage/TXSDKKeychainProtocol.h"

namespace trovix {

/// Keeps nothing: every key reads "0", so that every reinstall check sees the same identifier and counter. For desktop
/// builds without a keychain.
class TXSDKmacOSKeychain final : public TXSDKKeychainProtocol {
 public:
  bool updateKey(std::string_view, const Data&) override { return true; }
  bool setString(std::string_view, std::string_view) override { return true; }
  std::optional<std::string> stringForKey(std::string_view) override { return "0"; }
  bool setData(const Data&, std::string_view) override { return true; }
  std::optional<Data> dataForKey(std::string_view) override { return Data{'0'}; }
  bool removeKey(std::string_view) override { return true; }
  std::int32_t migrateKeychainData() override { return 0; }
};

}  // namespace trovix
