#include "storage/TXSDKKeychainFactory.h"
#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix {

namespace attribute = platform::keychainAttribute;

struct KeychainTest : testing::Test {
  static constexpr const char* kId = TXSDKKeychainProtocol::trovixIdKey;
  static constexpr const char* kCounter = TXSDKKeychainProtocol::reinstallCounterKey;

  test::SimulatedDevice device;
  std::unique_ptr<TXSDKKeychainProtocol> keychain = TXSDKKeychainFactory::keychainWithType(0, device.keychain);
};

TEST_F(KeychainTest, KeepsTheLastValueOfEachKeyAcrossADeletionOfTheApplication) {
  EXPECT_FALSE(keychain->stringForKey(kId));
  EXPECT_FALSE(keychain->updateKey(kId, Data{'x'}));
  EXPECT_TRUE(keychain->setString("first", kId));
  EXPECT_TRUE(keychain->setString("second", kId));
  EXPECT_FALSE(keychain->setData(Data{'x'}, kId));
  EXPECT_TRUE(keychain->setString("", kCounter));

  device.disk->deleteApp();
  test::SimulatedDevice reinstalled(device.disk);
  const auto later = TXSDKKeychainFactory::keychainWithType(0, reinstalled.keychain);
  EXPECT_EQ(later->stringForKey(kId), "second");
  EXPECT_EQ(later->stringForKey(kCounter), "") << "empty is not missing";
  EXPECT_TRUE(later->removeKey(kId));
  EXPECT_FALSE(later->removeKey(kId));
  EXPECT_TRUE(later->stringForKey(kCounter));
}

TEST_F(KeychainTest, ItemsOfOlderVersionsAreSeenOnceTheyAreMoved) {
  keychain->setString("id", kId);
  keychain->setString("2", kCounter);
  for (Dictionary& item : device.disk->keychainItems) {
    item.set(attribute::accessible, attribute::accessibleAlwaysThisDeviceOnly);
  }
  EXPECT_FALSE(keychain->stringForKey(kId));
  EXPECT_EQ(keychain->migrateKeychainData(), 0);
  EXPECT_EQ(keychain->stringForKey(kId), "id");
  EXPECT_EQ(keychain->stringForKey(kCounter), "2");
  EXPECT_EQ(keychain->migrateKeychainData(), 0) << "nothing is left to move";
}

TEST_F(KeychainTest, FailuresShowOnlyInTheResults) {
  keychain->setString("id", kId);
  device.disk->keychainItems[0].set(attribute::valueData, Data{0xFF});
  EXPECT_FALSE(keychain->stringForKey(kId)) << "not text";
  EXPECT_EQ(keychain->dataForKey(kId), Data{0xFF});

  device.keychain.failure = platform::keychainStatus::notAvailable;
  EXPECT_TRUE(keychain->setString("other", kId)) << "reports success whatever happens";
  EXPECT_FALSE(keychain->dataForKey(kId));
  EXPECT_EQ(keychain->migrateKeychainData(), 0) << "nothing was found, so nothing was moved";
}

}  // namespace trovix
