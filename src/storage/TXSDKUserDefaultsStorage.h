#pragma once

#include "storage/DefaultsStorage.h"

namespace trovix {

/// The store over the application's standard user defaults. Once the installation identifier was read or written it is
/// served from memory, whatever becomes of the stored value.
class TXSDKUserDefaultsStorage final : public DefaultsStorage {
 public:
  /// The domains outlive the store.
  explicit TXSDKUserDefaultsStorage(platform::UserDefaultsDomains& domains) : domains_(domains) {}

  std::optional<std::string> stringForKey(std::string_view key) override TX_EXCLUDES(mutex_);
  void setString(std::string_view string, std::string_view key) override TX_EXCLUDES(mutex_);
  void removeKey(std::string_view key) override;

 protected:
  platform::UserDefaults& source() override { return domains_.standard(); }
  void store(std::string_view key, Value value) override;

 private:
  platform::UserDefaultsDomains& domains_;
  platform::Mutex mutex_;
  std::optional<std::string> trovixUID_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
