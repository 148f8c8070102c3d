#include "core/Settings.h"

#include "storage/TXSDKUserDefaultsStorage.h"
#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix::test {

using Names = std::vector<std::string>;

struct SettingsTest : testing::Test {
  SimulatedDevice device;
  TXSDKUserDefaultsStorage storage{device.userDefaults};
  Settings settings{storage};
};

TEST_F(SettingsTest, JudgesTheDeveloperKeyAndTheAppleAppID) {
  const std::tuple<std::optional<std::string>, bool, std::string> keys[] = {
      {"elevenchars", true, "elevenchars"}, {"é", true, "é"}, {std::nullopt, false, "é"}, {"", false, "é"}};
  for (const auto& [key, isTaken, kept] : keys) {
    EXPECT_EQ(settings.setTrovixDevKey(key), isTaken);
    EXPECT_EQ(settings.trovixDevKey(), kept);
  }
  const std::pair<std::optional<Value>, std::string> identifiers[] = {
      {"123", "123"},        {"id123", "123"}, {"123a", "123a"}, {"i", "i"}, {std::nullopt, "i"},
      {Value(nullptr), "i"}, {123, "i"},       {"", "i"},        {"id", ""}};
  for (const auto& [given, kept] : identifiers) {
    settings.setAppleAppID(given);
    EXPECT_EQ(settings.appleAppID(), kept);
  }
}

TEST_F(SettingsTest, TakesThePrefixEvenOfARefusedHost) {
  settings.setHost("example.test", std::nullopt);
  settings.setHost(std::nullopt, "x");
  EXPECT_EQ(settings.host(), "example.test");
  EXPECT_EQ(settings.hostPrefix(), "x");
  settings.setHost("other.test", std::nullopt);
  EXPECT_EQ(settings.hostPrefix(), "");
}

TEST_F(SettingsTest, KeepsOnlyPartnersThatMatchAndNeverNarrowsAll) {
  settings.setSharingFilter(Names{"ok_1", "bad-name", std::string(46, 'w'), std::string(45, 'w'), ""});
  EXPECT_EQ(settings.sharingFilter(), (Names{"ok_1", std::string(45, 'w')}));
  settings.setSharingFilter(Names{"bad-name"});
  EXPECT_EQ(settings.sharingFilter(), std::nullopt);
  settings.setSharingFilterForAllPartners();
  settings.setSharingFilter(Names{"ok_1"});
  settings.setSharingFilter(std::nullopt);
  EXPECT_EQ(settings.sharingFilter(), Names{"all"});
}

TEST_F(SettingsTest, IgnoresMissingData) {
  settings.setAdditionalData(Dictionary{{"a", 1}});
  settings.setAdditionalData(std::nullopt);
  EXPECT_EQ(settings.customData(), (Dictionary{{"a", 1}}));
}

}  // namespace trovix::test
