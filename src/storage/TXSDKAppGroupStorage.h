#pragma once

#include "storage/DefaultsStorage.h"

namespace trovix {

/// The store of an application group: shared with its extensions and its App Clip. Reads see the group's suite only;
/// every write goes to the standard defaults first, then to the suite.
class TXSDKAppGroupStorage final : public DefaultsStorage {
 public:
  /// Both outlive the store.
  TXSDKAppGroupStorage(platform::UserDefaults& appGroupDefaults, platform::UserDefaults& fallbackDefaults)
      : appGroupDefaults_(appGroupDefaults), fallbackDefaults_(fallbackDefaults) {}

  void removeKey(std::string_view key) override;

  /// Mirrors the known keys from the standard defaults into the suite, absent ones included; the other way round when
  /// an App Clip wrote into the suite first. Marks the suite as migrated.
  void migrateStorage();

 protected:
  platform::UserDefaults& source() override { return appGroupDefaults_; }
  void store(std::string_view key, Value value) override;

 private:
  platform::UserDefaults& appGroupDefaults_;
  platform::UserDefaults& fallbackDefaults_;
};

}  // namespace trovix
