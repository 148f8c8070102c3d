#include "platform/PropertyList.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKAppGroupStorage.h"
#include "storage/TXSDKStorageFactory.h"
#include "storage/TXSDKUserDefaultsStorage.h"
#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix {

constexpr const char* suiteName = "group.com.example.shop";

struct StorageTest : testing::Test {
  static std::unique_ptr<TXSDKStorageProtocol> open(test::SimulatedDevice& phone, std::int8_t& status,
                                                    bool isAppClip = false) {
    return TXSDKStorageFactory(phone.userDefaults, phone.bundle).storageWithSuiteName(suiteName, status, isAppClip);
  }
  std::unique_ptr<TXSDKStorageProtocol> open() { return open(device, status); }
  platform::UserDefaults& group() { return *device.userDefaults.suite(suiteName); }
  platform::UserDefaults& standard() { return device.userDefaults.standard(); }

  test::SimulatedDevice device;
  std::int8_t status = 0;
};

TEST_F(StorageTest, FactoryChoosesTheStoreAndMigratesOnce) {
  const std::tuple<const char*, bool, bool, bool, bool, std::int8_t, bool, bool> cases[] = {
      {"application, first start", false, false, false, false, 1, true, true},
      {"application, later start", false, false, false, true, 0, true, true},
      {"extension before the application", false, true, false, false, 2, false, false},
      {"extension after the application", false, true, false, true, 0, true, true},
      {"App Clip", false, false, true, false, 0, true, false},
      {"no suite", true, false, false, false, -1, false, false}};
  for (const auto& [name, isUnavailable, isExtension, isAppClip, isMigrated, expected, isGroup, isMarked] : cases) {
    SCOPED_TRACE(name);
    test::SimulatedDevice phone;
    if (isUnavailable) phone.userDefaults.unavailableSuites.insert(suiteName);
    if (isExtension) phone.bundle.executable = "/app/Shop.app/PlugIns/Widget.appex/Widget";
    // The marker may come from another process, after this one opened the suite.
    phone.userDefaults.suite(suiteName);
    if (isMigrated) {
      test::SimulatedDevice(phone.disk).userDefaults.suite(suiteName)->set(storageKey::migratedToAppGroup, true);
    }
    std::int8_t code = 0;
    const auto storage = open(phone, code, isAppClip);
    EXPECT_EQ(code, expected);
    EXPECT_EQ(dynamic_cast<TXSDKAppGroupStorage*>(storage.get()) != nullptr, isGroup);
    EXPECT_EQ(phone.disk->suites[suiteName].contains(storageKey::migratedToAppGroup), isMarked);
  }
}

TEST_F(StorageTest, MigrationMirrorsTheKnownKeysOnly) {
  standard().set(storageKey::launchCounter, 7);
  standard().set(storageKey::conversionRules, Dictionary{{"rule", 1}});
  group().set(storageKey::deviceToken, "old token");
  group().set(storageKey::conversionValue, 3);

  const auto storage = open();

  EXPECT_EQ(storage->launchCnt(), 7);
  EXPECT_FALSE(storage->stringForKey(storageKey::deviceToken)) << "what the source lacks goes";
  EXPECT_EQ(storage->integerForKey(storageKey::conversionValue), 3) << "not of the list";
  EXPECT_FALSE(storage->dictionaryForKey(storageKey::conversionRules));
}

TEST_F(StorageTest, MigrationRunsBackwardsFromAnAppClip) {
  group().set(storageKey::isAppClip, false);  // any value counts
  group().set(storageKey::userId, "clip");
  standard().set(storageKey::userId, "application");
  standard().set(storageKey::date3, "gone");
  const auto storage = open();
  EXPECT_EQ(storage->stringForKey(storageKey::userId), "clip");
  EXPECT_EQ(standard().string(storageKey::userId), "clip");
  EXPECT_FALSE(standard().string(storageKey::date3));
  EXPECT_TRUE(group().boolean(storageKey::migratedToAppGroup));
  EXPECT_FALSE(standard().object(storageKey::migratedToAppGroup));
}

TEST_F(StorageTest, GroupStoreWritesTwiceAndReadsTheGroup) {
  const auto storage = open();
  storage->setInteger(5, storageKey::launchCounter);
  EXPECT_EQ(storage->incrementLaunchCnt(), 6);
  EXPECT_EQ(standard().integer(storageKey::launchCounter), 6);
  group().remove(storageKey::launchCounter);
  EXPECT_EQ(storage->launchCnt(), 0);
  storage->removeKey(storageKey::launchCounter);
  EXPECT_FALSE(standard().object(storageKey::launchCounter));

  test::SimulatedDevice widget(device.disk);
  widget.userDefaults.suite(suiteName)->set(storageKey::launchCounter, 9);
  storage->refresh();
  EXPECT_EQ(storage->launchCnt(), 9);
}

TEST_F(StorageTest, UserIdIsServedFromMemoryInTheStandardStoreOnly) {
  const auto grouped = open();
  TXSDKUserDefaultsStorage plain(device.userDefaults);
  EXPECT_FALSE(plain.stringForKey(storageKey::userId)) << "a missing value is not remembered";
  plain.setString("first", storageKey::userId);
  grouped->setString("second", storageKey::userId);
  EXPECT_EQ(plain.stringForKey(storageKey::userId), "first");
  group().set(storageKey::userId, "third");
  EXPECT_EQ(grouped->stringForKey(storageKey::userId), "third");
}

TEST_F(StorageTest, ArchivesReadBackAsDictionariesOrNothing) {
  const Dictionary verdict{{"tx_status", "Organic"}, {"is_first_launch", true}, {"ratio", 0.1}};
  Dictionary withNull = verdict;
  withNull.set("agency", nullptr);
  Data truncated = platform::writePropertyList(verdict).value();
  truncated.resize(truncated.size() / 2);
  const std::tuple<const char*, Value, std::optional<Dictionary>> cases[] = {
      {"plain, of an older version", verdict, verdict},
      {"half an archive", truncated, std::nullopt},
      {"no archive at all", Data{'{', '}'}, std::nullopt},
      {"text", "tx_status", std::nullopt}};
  for (const auto& storage : {open(), TXSDKStorageFactory(device.userDefaults, device.bundle).defaultStorage()}) {
    EXPECT_FALSE(storage->unarchiveForKey(storageKey::conversionData));
    for (const auto& [name, stored, expected] : cases) {
      standard().set(storageKey::conversionData, stored);
      group().set(storageKey::conversionData, stored);
      EXPECT_EQ(storage->unarchiveForKey(storageKey::conversionData), expected) << name;
    }
    storage->archive(withNull, storageKey::conversionData);
    EXPECT_EQ(storage->unarchiveForKey(storageKey::conversionData), verdict);
    EXPECT_NE(standard().object(storageKey::conversionData)->data(), nullptr);
    storage->archive("no dictionary", storageKey::conversionData);
    EXPECT_FALSE(storage->unarchiveForKey(storageKey::conversionData));
  }
}

TEST_F(StorageTest, CountersOfAnEmptyStoreAndOfADamagedOne) {
  TXSDKUserDefaultsStorage storage(device.userDefaults);
  EXPECT_EQ(storage.launchCnt(), 0);
  EXPECT_EQ(storage.sessionCnt(), 1) << "one ahead";
  EXPECT_EQ(storage.incrementSessionCnt(), 1);
  EXPECT_EQ(storage.sessionCnt(), 2);
  constexpr auto last = std::numeric_limits<std::int64_t>::max();
  storage.setInteger(last, storageKey::sessionCounter);
  EXPECT_EQ(storage.sessionCnt(), last);
  EXPECT_EQ(storage.incrementSessionCnt(), last);
}

}  // namespace trovix
