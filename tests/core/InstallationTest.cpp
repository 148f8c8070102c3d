#include "core/Installation.h"

#include "storage/TXSDKKeychainFactory.h"
#include "storage/TXSDKUserDefaultsStorage.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

using IdStatus = Installation::OriginalIdStatus;
using Text = std::optional<std::string>;

struct World {
  SimulatedDevice device;
  TXSDKUserDefaultsStorage storage{device.userDefaults};
  std::unique_ptr<TXSDKKeychainProtocol> keychain = TXSDKKeychainFactory::keychainWithType(0, device.keychain);
  Installation installation{device.platform(), storage, *keychain};
};

TEST(InstallationTest, ResolvesTheOriginalIdentifier) {
  // Without a result: this installation's own.
  const std::tuple<const char*, Text, Text, IdStatus, Text> cases[] = {
      {"both, equal", "A", "A", IdStatus::stored, "A"},
      {"both, different: the stored one wins", "A", "B", IdStatus::stored, "A"},
      {"fresh", std::nullopt, std::nullopt, IdStatus::fresh, std::nullopt},
      {"fresh, with an empty text", "", std::nullopt, IdStatus::fresh, std::nullopt},
      {"reinstalled", std::nullopt, "B", IdStatus::reinstalled, "B"},
      {"restored", "A", std::nullopt, IdStatus::restored, "A"}};
  for (const auto& [name, stored, kept, status, result] : cases) {
    SCOPED_TRACE(name);
    World world;
    if (stored) world.storage.setString(*stored, "TrovixOriginalUserId");
    if (kept) world.keychain->setString(*kept, "KCTrovixId");
    world.storage.setInteger(status == IdStatus::restored ? 7 : 0, "TrovixReInstallCounter");
    const std::string expected = result.value_or(world.installation.getTrovixUID());
    EXPECT_EQ(world.installation.getOriginalTrovixId(), expected);
    EXPECT_EQ(world.installation.originalIdStatus(), status);
    EXPECT_EQ(world.storage.stringForKey("TrovixOriginalUserId"), expected);
    EXPECT_EQ(world.keychain->stringForKey("KCTrovixId"), kept.value_or(expected));
    const bool isReinstalled = status == IdStatus::reinstalled;
    const bool isRestored = status == IdStatus::restored;
    EXPECT_EQ(world.keychain->stringForKey("KCTrovixRICounter"),
              isReinstalled ? Text("1") : (isRestored ? Text("7") : std::nullopt));
    EXPECT_EQ(world.storage.integerForKey("TrovixReInstallCounter"), isReinstalled ? 1 : (isRestored ? 7 : 0));
    EXPECT_EQ(world.storage.dictionaryForKey("TrovixBackupInfo"),
              isRestored ? std::optional(Dictionary{{"cnt", 1}, {"ts", 1'700'000'000}}) : std::nullopt);
  }
}

TEST(InstallationTest, MakesItsIdentifierOfInstallDateAndVendorDigits) {
  const std::pair<Text, std::string> cases[] = {
      {"A1B2-C3D4", "1234"}, {std::nullopt, "1"}, {"12345678901234567890", "1234567"}, {"ABCD", ""}};
  for (const auto& [vendor, digits] : cases) {
    World world;
    world.device.facts.vendorIdentifier = vendor;
    world.device.fileSystem.setCreationTime("/data/Library", 1'650'000'000.25);
    EXPECT_EQ(world.installation.getTrovixUID(), "1650000000250-" + digits);
    EXPECT_EQ(world.storage.stringForKey("TrovixUserId"), "1650000000250-" + digits);
  }
  World withheld;
  withheld.device.facts.vendorIdentifier = "00000000-0000-0000-0000-000000000000";
  EXPECT_NE(withheld.installation.getTrovixUID(), "1700000000000-0000000");
}

TEST(InstallationTest, TellsANewVersionFromTheOldOne) {
  World world;
  world.storage.archive(Dictionary{{"is_first_launch", true}, {"c", "x"}}, "TrovixConversiondataKey");
  const auto date = [&](const char* version, const char* now) {
    return world.installation.getVersionUpdateDate(version, now);
  };
  EXPECT_EQ(date("1.0", "monday"), "monday");
  EXPECT_EQ(date("1.0", "tuesday"), "monday");
  EXPECT_EQ(date("1.1", "wednesday"), "wednesday");
  EXPECT_EQ(world.storage.unarchiveForKey("TrovixConversiondataKey"),
            (Dictionary{{"is_first_launch", false}, {"c", "x"}}));
}

}  // namespace
}  // namespace trovix::test
