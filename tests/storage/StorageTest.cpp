#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/PropertyList.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKAppGroupStorage.h"
#include "storage/TXSDKStorageFactory.h"
#include "storage/TXSDKUserDefaultsStorage.h"
#include "support/SimulatedDevice.h"

namespace trovix {
namespace {

constexpr const char* kSuite = "group.com.example.shop";

class StorageTest : public testing::Test {
 protected:
  std::unique_ptr<TXSDKStorageProtocol> open(bool isAppClip = false) {
    status = 0;
    return TXSDKStorageFactory(device.userDefaults, device.bundle).storageWithSuiteName(kSuite, status, isAppClip);
  }
  platform::UserDefaults& group() { return *device.userDefaults.suite(kSuite); }
  platform::UserDefaults& standard() { return device.userDefaults.standard(); }

  test::SimulatedDevice device;
  std::int8_t status = 0;
};

TEST_F(StorageTest, FactoryChoosesTheStoreAndMigratesOnce) {
  const struct {
    const char* name;
    bool isUnavailable, isExtension, isAppClip, isMigrated;
    std::int8_t status;
    bool isGroup, isMarkedAfterwards;
  } cases[] = {
      {"application, first start", false, false, false, false, 1, true, true},
      {"application, later start", false, false, false, true, 0, true, true},
      {"extension before the application", false, true, false, false, 2, false, false},
      {"extension after the application", false, true, false, true, 0, true, true},
      {"App Clip", false, false, true, false, 0, true, false},
      {"no suite", true, false, false, false, -1, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    test::SimulatedDevice phone;
    if (c.isUnavailable) phone.userDefaults.unavailableSuites.insert(kSuite);
    if (c.isExtension) phone.bundle.executable = "/app/Shop.app/PlugIns/Widget.appex/Widget";
    // The marker may come from another process, after this one opened the suite.
    phone.userDefaults.suite(kSuite);
    if (c.isMigrated) {
      test::SimulatedDevice(phone.disk).userDefaults.suite(kSuite)->set(storageKey::migratedToAppGroup, true);
    }
    std::int8_t code = 0;
    const auto storage =
        TXSDKStorageFactory(phone.userDefaults, phone.bundle).storageWithSuiteName(kSuite, code, c.isAppClip);
    EXPECT_EQ(code, c.status);
    EXPECT_EQ(dynamic_cast<TXSDKAppGroupStorage*>(storage.get()) != nullptr, c.isGroup);
    EXPECT_EQ(phone.disk->suites[kSuite].contains(storageKey::migratedToAppGroup), c.isMarkedAfterwards);
  }
}

TEST_F(StorageTest, MigrationMirrorsTheKnownKeysOnly) {
  standard().set(storageKey::launchCounter, 7);
  standard().set(storageKey::backupInfo, Dictionary{{"id", "a"}});
  standard().set(storageKey::conversionRules, Dictionary{{"rule", 1}});
  group().set(storageKey::deviceToken, "old token");
  group().set(storageKey::conversionValue, 3);

  const auto storage = open();

  EXPECT_EQ(storage->launchCnt(), 7);
  EXPECT_EQ(storage->dictionaryForKey(storageKey::backupInfo), (Dictionary{{"id", "a"}}));
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
  storage->setBool(true, storageKey::isAppClip);
  EXPECT_EQ(storage->incrementLaunchCnt(), 6);
  EXPECT_EQ(standard().integer(storageKey::launchCounter), 6);
  EXPECT_EQ(storage->stringForKey(storageKey::isAppClip), "1");

  group().remove(storageKey::launchCounter);
  EXPECT_EQ(storage->launchCnt(), 0);
  EXPECT_EQ(standard().integer(storageKey::launchCounter), 6);

  storage->removeKey(storageKey::isAppClip);
  EXPECT_FALSE(standard().object(storageKey::isAppClip));
  EXPECT_FALSE(group().object(storageKey::isAppClip));

  test::SimulatedDevice widget(device.disk);
  widget.userDefaults.suite(kSuite)->set(storageKey::launchCounter, 9);
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
  const struct {
    const char* name;
    Value stored;
    std::optional<Dictionary> expected;
  } cases[] = {
      {"plain, of an older version", verdict, verdict},
      {"half an archive", truncated, std::nullopt},
      {"no archive at all", Data{'{', '}'}, std::nullopt},
      {"text", "tx_status", std::nullopt},
  };
  for (const auto& storage : {open(), TXSDKStorageFactory(device.userDefaults, device.bundle).defaultStorage()}) {
    EXPECT_FALSE(storage->unarchiveForKey(storageKey::conversionData));
    for (const auto& c : cases) {
      standard().set(storageKey::conversionData, c.stored);
      group().set(storageKey::conversionData, c.stored);
      EXPECT_EQ(storage->unarchiveForKey(storageKey::conversionData), c.expected) << c.name;
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
  EXPECT_EQ(storage.incrementInAppCnt(), 1);
  EXPECT_EQ(storage.incrementSessionCnt(), 1);
  EXPECT_EQ(storage.sessionCnt(), 2);
  EXPECT_EQ(storage.inAppCnt(), 1);
  constexpr auto last = std::numeric_limits<std::int64_t>::max();
  storage.setInteger(last, storageKey::sessionCounter);
  EXPECT_EQ(storage.sessionCnt(), last);
  EXPECT_EQ(storage.incrementSessionCnt(), last);
}

}  // namespace
}  // namespace trovix
