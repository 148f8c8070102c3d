// What an earlier process left in the stores may be anything under any key. The compact form reads back as it was
// written, and the SDK goes on: its events can be written, its identity stays, its counters never fall.
#include <filesystem>

#include "core/TrovixLibParts.h"
#include "fuzz/Support.h"
#include "platform/linux/CompactValue.h"
#include "platform/linux/KeychainSeal.h"
#include "platform/linux/StoredValue.h"
#include "storage/StorageKeys.h"
#include "storage/TrovixKeychainWrapper.h"
#include "trovix/TrovixShareInviteHelper.h"
#include "trovix/platform/NotificationCenter.h"

namespace {

using namespace trovix;
using fuzz::require;

/// The input's elements stand under these in turn; the last two are in the keychain.
constexpr const char* storedKeys[] = {storageKey::userId,
                                      storageKey::originalUserId,
                                      storageKey::reinstallCounter,
                                      storageKey::backupInfo,
                                      storageKey::launchCounter,
                                      storageKey::inAppCounter,
                                      storageKey::sessionCounter,
                                      storageKey::adRevenueCounter,
                                      storageKey::installDate,
                                      storageKey::installTimestamp,
                                      storageKey::firstLaunchDate,
                                      storageKey::lastVersion,
                                      storageKey::date3,
                                      storageKey::previousLaunchTime,
                                      storageKey::lastSessionDuration,
                                      storageKey::conversionData,
                                      storageKey::searchAdsAttribution,
                                      storageKey::conversionDataDelivered,
                                      storageKey::conversionDataReceivedAt,
                                      storageKey::conversionDataTiming,
                                      storageKey::linkVersion,
                                      storageKey::linkScheme,
                                      storageKey::linkDomain,
                                      storageKey::deviceToken,
                                      storageKey::stopTrackingUsed,
                                      storageKey::isAppClip,
                                      storageKey::migratedToAppGroup,
                                      storageKey::readyToSendEvents,
                                      storageKey::conversionRules,
                                      storageKey::conversionValue,
                                      storageKey::remoteDebugStaticData};
constexpr const char* keychainKeys[] = {TXSDKKeychainProtocol::trovixIdKey, TXSDKKeychainProtocol::reinstallCounterKey};

void checkSeal(std::string_view text) {
  const platform::SealingKey key{7};
  const Data bytes(text.begin(), text.end());
  require(!platform::openSeal(key, bytes, "owner"));
  const auto sealed = platform::sealValue(key, bytes, "owner");
  require(sealed && platform::openSeal(key, *sealed, "owner") == bytes && !platform::openSeal(key, *sealed, "other"));
}

void checkCompact(const Value& value) {
  const auto encoded = platform::encodeCompactly(value);
  require(encoded.has_value());
  const auto again = platform::decodeCompactly({reinterpret_cast<const char*>(encoded->data()), encoded->size()});
  require(again && fuzz::isKept(value, *again));
}

/// One row that a database would answer, without a table.
platform::SqliteStatement& row() {
  static auto& database = *[] {
    std::string directory = (std::filesystem::temp_directory_path() / "fuzz-stored-XXXXXX").string();
    require(::mkdtemp(directory.data()) != nullptr);
    auto* opened = new platform::SqliteDatabase(directory + "/row.sqlite", "CREATE TABLE t (v)");
    require(opened->open() == platform::SqliteOutcome::done);
    std::filesystem::remove_all(directory);
    return opened;
  }();
  static auto& statement = *new platform::SqliteStatement;
  static const auto prepared = database.prepare("SELECT ?1, ?2", statement);
  require(prepared == platform::SqliteOutcome::done);
  return statement;
}

void checkRow(const Value& value) {
  platform::SqliteStatement& select = row();
  Data buffer;
  require(platform::bindStoredValue(select, 1, 2, value, buffer));
  require(select.step() == platform::SqliteOutcome::row);
  const auto read = platform::readStoredValue(select, 0, 1);
  require(read != nullptr && fuzz::isKept(value, *read));
  select.reset();
  // The kind says one thing, the value is another.
  for (std::int64_t kind = 0; kind < 9; ++kind) {
    static_cast<void>(platform::bindStoredValue(select, 1, 2, value, buffer));
    select.bind(1, kind);
    static_cast<void>(select.step());
    static_cast<void>(platform::readStoredValue(select, 0, 1));
    select.reset();
  }
}

/// False stands for a key that is missing.
bool isThere(const Value& value) { return value.boolean() == nullptr || *value.boolean(); }

std::shared_ptr<test::SimulatedDisk> diskWith(const Array& values) {
  auto disk = std::make_shared<test::SimulatedDisk>();
  test::SimulatedDevice device(disk);
  TrovixKeychainWrapper keychain(device.keychain);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!isThere(values[i])) continue;
    if (i < std::size(storedKeys)) {
      disk->standardDefaults[storedKeys[i]] = std::make_shared<const Value>(values[i]);
    } else if (i - std::size(storedKeys) < std::size(keychainKeys)) {
      const std::string text = description(values[i]);
      keychain.setData(values[i].data() != nullptr ? *values[i].data() : Data(text.begin(), text.end()),
                       keychainKeys[i - std::size(storedKeys)]);
    }
  }
  return disk;
}

struct Identity {
  std::string uid, originalId;
  bool operator==(const Identity&) const = default;
};

Identity identityOf(fuzz::Application& application) {
  return {application.sdk.getTrovixUID(), application.sdk.getOriginalTrovixId()};
}

/// Everything that reads the stores, while the network is down: what is sent stays in the cache.
void useEverything(fuzz::Application& application) {
  test::SimulatedDevice& device = application.device;
  TrovixLib& sdk = application.sdk;
  device.network.defaultAnswer = test::Answer::failure(platform::urlError::cannotConnectToHost);
  const auto delegate = std::make_shared<TrovixLibDelegate>();
  int verdicts = 0;
  delegate->onConversionDataSuccess = [&verdicts](const Dictionary&) { ++verdicts; };
  delegate->onConversionDataFail = [&verdicts](const Error&) { ++verdicts; };
  const auto deepLinkDelegate = std::make_shared<TrovixDeepLinkDelegate>();
  deepLinkDelegate->didResolveDeepLink = [](const TrovixDeepLinkResult&) {};
  sdk.setDelegate(delegate);
  sdk.setDeepLinkDelegate(deepLinkDelegate);
  device.notificationCenter.post(platform::application::didFinishLaunching);
  sdk.start();
  sdk.logEvent("tx_purchase", Dictionary{{"tx_price", 3.5}});
  sdk.getConversionData();
  sdk.registerUninstall({1, 2, 3});
  sdk.sendAdRevenueWithParameters({{"event_revenue", 1}});
  int links = 0;
  TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator({}, [&links](const std::string&) { ++links; });
  device.advance(10.0);
  device.notificationCenter.post(platform::application::didEnterBackground);
  device.advance(fuzz::longEnough);
  require(links == 1 && verdicts >= 1);
}

void checkProcesses(const Array& values) {
  const auto disk = diskWith(values);
  Identity identity;
  {
    fuzz::Application application(disk);
    identity = identityOf(application);
    TXSDKStorageProtocol& storage = *application.sdk.parts().storage;
    const std::int64_t sessions = storage.sessionCnt(), launches = storage.launchCnt(), events = storage.inAppCnt();
    useEverything(application);
    require(storage.sessionCnt() >= sessions && storage.launchCnt() >= launches && storage.inAppCnt() >= events);
    require(identityOf(application) == identity && !identity.uid.empty());
    const auto cached = application.sdk.parts().cache.cachedEvents();
    require(!cached.empty());
    for (const TXSDKEvent& event : cached) require(event.data().has_value());
  }
  fuzz::Application next(disk);
  require(identityOf(next) == identity);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  checkSeal(text);
  const auto value = platform::decodeCompactly(text);
  if (!value) return 0;
  checkCompact(*value);
  checkRow(*value);
  if (value->array() != nullptr) checkProcesses(*value->array());
  return 0;
}
