#include "core/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "storage/TXSDKStorageFactory.h"
#include "storage/TXSDKStorageProtocol.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

using Names = std::vector<std::string>;

class SettingsTest : public testing::Test {
 protected:
  SimulatedDevice device;
  LogCapture log{device};
  std::unique_ptr<TXSDKStorageProtocol> storage =
      TXSDKStorageFactory(device.userDefaults, device.bundle).defaultStorage();
  Settings settings{*storage};
};

TEST_F(SettingsTest, JudgesTheDeveloperKey) {
  constexpr const char* kInvalid = "Trovix SDK developer key not valid to serve";
  constexpr const char* kShort = "Trovix SDK developer key wrong length";
  const struct {
    std::optional<std::string> key;
    std::string kept;
    const char* line;
  } cases[] = {{"elevenchars", "elevenchars", nullptr},
               {"tencharact", "tencharact", kShort},
               {"éééééééééé", "éééééééééé", kShort},
               {std::nullopt, "éééééééééé", kInvalid},
               {"", "éééééééééé", kInvalid}};
  for (const auto& [key, kept, line] : cases) {
    log.clear();
    EXPECT_EQ(settings.setTrovixDevKey(key), line != kInvalid);
    EXPECT_EQ(settings.trovixDevKey(), kept);
    EXPECT_EQ(log.lines().size(), line == nullptr ? 0u : 1u) << kept;
    if (line != nullptr) {
      EXPECT_TRUE(log.has(line));
    }
  }
}

TEST_F(SettingsTest, NormalisesTheAppleAppID) {
  const struct {
    std::optional<Value> given;
    std::string kept;
    bool isPrefixNoted, isDecimalDoubted, isMissing;
  } cases[] = {{Value("123"), "123", false, false, false},  {Value("id123"), "123", true, true, false},
               {Value("123a"), "123a", false, true, false}, {Value("i"), "i", false, true, false},
               {std::nullopt, "i", false, false, true},     {Value(nullptr), "i", false, false, true},
               {Value(123), "i", false, false, true},       {Value(""), "i", false, false, true},
               {Value("id"), "", true, true, false}};
  for (const auto& testCase : cases) {
    log.clear();
    settings.setAppleAppID(testCase.given);
    EXPECT_EQ(settings.appleAppID(), testCase.kept);
    EXPECT_EQ(log.count("`Apple ID` has been modified by removing `id` at prefix"), testCase.isPrefixNoted);
    EXPECT_EQ(log.count("`Apple ID` should has decimal character set. SDK will work not properly"),
              testCase.isDecimalDoubted);
    EXPECT_EQ(log.count("`Apple ID` is missing. SDK will work not properly"), testCase.isMissing);
  }
}

TEST_F(SettingsTest, TakesThePrefixEvenOfARefusedHost) {
  settings.setHost("example.test", std::nullopt);
  settings.setHost(std::nullopt, "x");
  EXPECT_EQ(settings.host(), "example.test");
  EXPECT_EQ(settings.hostPrefix(), "x");
  EXPECT_TRUE(log.has("[WARN]  Trovix: `host` cannot be `nil` or `empty`"));
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

TEST_F(SettingsTest, RemembersThatStoppingWasUsedWhateverTheValue) {
  settings.setIsStopped(false);
  EXPECT_FALSE(settings.isStopped());
  EXPECT_TRUE(storage->boolForKey("TrovixStopTrackingUsed"));
}

TEST_F(SettingsTest, KeepsPhonesHashedAndIgnoresMissingData) {
  settings.setPhoneNumber("12345");
  EXPECT_EQ(settings.phoneNumber(), "5994471abb01112afcc18159f6cc74b4f511b99806da59b3caf5a9c173cacfc5");
  settings.setPhoneNumber(std::nullopt);
  EXPECT_EQ(settings.phoneNumber(), std::nullopt);
  settings.setAdditionalData(Dictionary{{"a", 1}});
  settings.setAdditionalData(std::nullopt);
  EXPECT_EQ(settings.customData(), (Dictionary{{"a", 1}}));
}

TEST_F(SettingsTest, WarnsOfTheSandboxEvenWhenItIsSwitchedOff) {
  settings.setUseReceiptValidationSandbox(false);
  EXPECT_TRUE(log.has("This should only be used in development enviornment!!!! * * *"));
}

}  // namespace
}  // namespace trovix::test
