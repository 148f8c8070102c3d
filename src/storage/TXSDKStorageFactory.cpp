#include "storage/TXSDKStorageFactory.h"

#include "common/AppExtension.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKAppGroupStorage.h"
#include "storage/TXSDKUserDefaultsStorage.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/UserDefaults.h"

namespace trovix {

TXSDKStorageFactory::TXSDKStorageFactory(platform::UserDefaultsDomains& domains, const platform::Bundle& bundle)
    : domains_(domains), bundle_(bundle) {}

std::unique_ptr<TXSDKStorageProtocol> TXSDKStorageFactory::defaultStorage() const {
  return std::make_unique<TXSDKUserDefaultsStorage>(domains_);
}

std::unique_ptr<TXSDKStorageProtocol> TXSDKStorageFactory::storageWithSuiteName(const std::string& suiteName,
                                                                                std::int8_t& statusCode,
                                                                                bool isAppClip) const {
  platform::UserDefaults* suite = domains_.suite(suiteName);
  if (suite == nullptr) {
    statusCode = -1;
    return defaultStorage();
  }
  suite->refresh();  // the containing application may have migrated since it was opened
  const bool isMigrated = suite->boolean(storageKey::migratedToAppGroup);
  const bool isExtension = isAppExtension(bundle_);
  if (!isMigrated && isExtension) {
    statusCode = 2;
    return defaultStorage();
  }
  auto storage = std::make_unique<TXSDKAppGroupStorage>(*suite, domains_.standard());
  if (!isMigrated && !isAppClip) {
    storage->migrateStorage();
    statusCode = 1;
  }
  return storage;
}

}  // namespace trovix
