#include "storage/TXSDKAppGroupStorage.h"

#include <utility>
#include <vector>

#include "storage/StorageKeys.h"

namespace trovix {

namespace {

constexpr const char* migratedKeys[] = {
    storageKey::userId,
    storageKey::launchCounter,
    storageKey::installDate,
    storageKey::installTimestamp,
    storageKey::firstLaunchDate,
    storageKey::conversionData,
    storageKey::searchAdsAttribution,
    storageKey::conversionDataDelivered,
    storageKey::inAppCounter,
    storageKey::sessionCounter,
    storageKey::adRevenueCounter,
    storageKey::lastVersion,
    storageKey::date3,
    storageKey::stopTrackingUsed,
    storageKey::originalUserId,
    storageKey::reinstallCounter,
    storageKey::deviceToken,
    storageKey::previousLaunchTime,
    storageKey::conversionDataReceivedAt,
    storageKey::conversionDataTiming,
    storageKey::linkVersion,
    storageKey::linkScheme,
    storageKey::linkDomain,
    storageKey::lastSessionDuration,
    storageKey::backupInfo,
    storageKey::isAppClip,
};
static_assert(std::size(migratedKeys) == 26);

}  // namespace

void TXSDKAppGroupStorage::store(std::string_view key, Value value) {
  fallbackDefaults_.set(key, value);
  appGroupDefaults_.set(key, std::move(value));
}

void TXSDKAppGroupStorage::removeKey(std::string_view key) {
  fallbackDefaults_.remove(key);
  appGroupDefaults_.remove(key);
}

void TXSDKAppGroupStorage::migrateStorage() {
  const bool didClipWriteFirst = appGroupDefaults_.string(storageKey::isAppClip).has_value();
  platform::UserDefaults& from = didClipWriteFirst ? appGroupDefaults_ : fallbackDefaults_;
  platform::UserDefaults& to = didClipWriteFirst ? fallbackDefaults_ : appGroupDefaults_;

  std::vector<std::pair<std::string, std::optional<Value>>> values;
  values.reserve(std::size(migratedKeys));
  for (const char* key : migratedKeys) {
    const auto value = from.object(key);
    values.emplace_back(key, value == nullptr ? std::nullopt : std::optional(*value));
  }
  to.setAll(values);
  // Last, so that a process that dies half-way migrates again.
  appGroupDefaults_.set(storageKey::migratedToAppGroup, true);
}

}  // namespace trovix
