#include "storage/TXSDKKeychainFactory.h"
#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix {

namespace attribute = platform::keychainAttribute;

struct KeychainTest : testing::Test {
  static constexpr const char* identifierKey = TXSDKKeychainProtocol::trovixIdKey;
  static constexpr const char* counterKey = TXSDKKeychainProtocol::reinstallCounterKey;

  test::SimulatedDevice device;
  std::unique_ptr<TXSDKKeychainProtocol> keychain = TXSDKKeychainFactory::keychainWithType(0, device.keychain);
};

TEST_F(KeychainTest, KeepsTheLastValueOfEachKeyAcrossADeletionOfTheApplication) {
  EXPECT_FALSE(keychain->stringForKey(identifierKey));
  EXPECT_FALSE(keychain->updateKey(identifierKey, Data{'x'}));
  EXPECT_TRUE(keychain->setString("first", identifierKey));
  EXPECT_TRUE(keychain->setString("second", identifierKey));
  EXPECT_FALSE(keychain->setData(Data{'x'}, identifierKey));
  EXPECT_TRUE(keychain->setString("", counterKey));

  device.disk->deleteApp();
  test::SimulatedDevice reinstalled(device.disk);
  const auto later = TXSDKKeychainFactory::keychainWithType(0, reinstalled.keychain);
  EXPECT_EQ(later->stringForKey(identifierKey), "second");
  EXPECT_EQ(later->stringForKey(counterKey), "") << "empty is not missing";
  EXPECT_TRUE(later->removeKey(identifierKey));
  EXPECT_FALSE(later->removeKey(identifierKey));
  EXPECT_TRUE(later->stringForKey(counterKey));
}

TEST_F(KeychainTest, ItemsOfOlderVersionsAreSeenOnceTheyAreMoved) {
  keychain->setString("id", identifierKey);
  keychain->setString("2", counterKey);
  for (Dictionary& item : device.disk->keychainItems) {
    item.set(attribute::accessible, attribute::accessibleAlwaysThisDeviceOnly);
  }
  EXPECT_FALSE(keychain->stringForKey(identifierKey));
  EXPECT_EQ(keychain->migrateKeychainData(), 0);
  EXPECT_EQ(keychain->stringForKey(identifierKey), "id");
  EXPECT_EQ(keychain->stringForKey(counterKey), "2");
  EXPECT_EQ(keychain->migrateKeychainData(), 0) << "nothing is left to move";
}

TEST_F(KeychainTest, FailuresShowOnlyInTheResults) {
  keychain->setString("id", identifierKey);
  device.disk->keychainItems[0].set(attribute::valueData, Data{0xFF});
  EXPECT_FALSE(keychain->stringForKey(identifierKey)) << "not text";
  EXPECT_EQ(keychain->dataForKey(identifierKey), Data{0xFF});

  device.keychain.failure = platform::keychainStatus::notAvailable;
  EXPECT_TRUE(keychain->setString("other", identifierKey)) << "reports success whatever happens";
  EXPECT_FALSE(keychain->dataForKey(identifierKey));
  EXPECT_EQ(keychain->migrateKeychainData(), 0) << "nothing was found, so nothing was moved";
}

}  // namespace trovix
