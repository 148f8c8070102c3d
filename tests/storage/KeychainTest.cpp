#include <gtest/gtest.h>

#include "storage/TXSDKKeychainFactory.h"
#include "support/SimulatedDevice.h"

namespace trovix {
namespace {

namespace attribute = platform::keychainAttribute;

class KeychainTest : public testing::Test {
 protected:
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
  EXPECT_FALSE(later->stringForKey(kId));
  EXPECT_TRUE(later->stringForKey(kCounter));
}

TEST_F(KeychainTest, ItemsOfOlderVersionsAreSeenOnceTheyAreMoved) {
  EXPECT_EQ(keychain->migrateKeychainData(), 0);
  keychain->setString("id", kId);
  keychain->setString("2", kCounter);
  for (Dictionary& item : device.disk->keychainItems) {
    item.set(attribute::accessible, attribute::accessibleAlwaysThisDeviceOnly);
  }
  EXPECT_FALSE(keychain->stringForKey(kId));
  EXPECT_EQ(keychain->migrateKeychainData(), 0);
  EXPECT_EQ(keychain->stringForKey(kId), "id");
  EXPECT_EQ(keychain->stringForKey(kCounter), "2");
  EXPECT_EQ(device.disk->keychainItems.size(), 2u);
  EXPECT_EQ(keychain->migrateKeychainData(), 0);
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

TEST_F(KeychainTest, TheInertVariantKeepsNothing) {
  const auto inert = TXSDKKeychainFactory::keychainWithType(1, device.keychain);
  EXPECT_TRUE(inert->setString("id", kId));
  EXPECT_EQ(inert->stringForKey(kId), "0");
  EXPECT_EQ(inert->dataForKey("never written"), Data{'0'});
  EXPECT_TRUE(device.disk->keychainItems.empty());
  EXPECT_EQ(TXSDKKeychainFactory::keychainWithType(2, device.keychain), nullptr);
}

}  // namespace
}  // namespace trovix
