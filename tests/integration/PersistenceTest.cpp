#include <filesystem>

#include "core/TrovixLibParts.h"
#include "integration/Application.h"

namespace trovix::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Everything that a launch of an application over the directory sent.
Dictionary launched(const World& world, const Device& device, const char* kind, std::size_t count = 1) {
  Application app(world, device);
  app.launch();
  Dictionary request = world.received(kind, count)[count - 1];
  expectGenuine(request);
  EXPECT_TRUE(app.comesToRest());
  return request;
}

TEST(PersistenceTest, AReinstallAndARestoreKeepTheFirstIdentity) {
  const World world;
  const Device device{world.directory / "device"};
  const Dictionary first = launched(world, device, "Conversions");
  const std::string uid = sent(first, "uid");
  EXPECT_EQ(sent(first, "originalTrovixId"), uid);
  EXPECT_EQ(sent(first, "reinstallCounter"), "0");

  std::filesystem::remove_all(device.directory + "/app");
  const Dictionary reinstalled = launched(world, device, "Conversions", 2);
  EXPECT_NE(sent(reinstalled, "uid"), uid);
  EXPECT_EQ(sent(reinstalled, "originalTrovixId"), uid);
  EXPECT_EQ(sent(reinstalled, "reinstallCounter"), "1");
  EXPECT_EQ(sent(reinstalled, "counter"), "1");

  std::filesystem::remove_all(device.directory + "/keychain");
  const Dictionary restored = launched(world, device, "Launches");
  EXPECT_EQ(sent(restored, "uid"), sent(reinstalled, "uid"));
  EXPECT_EQ(sent(restored, "originalTrovixId"), uid);
  EXPECT_EQ(sent(restored, "reinstallCounter"), "1");
  EXPECT_THAT(sent(restored, "backupInfo"), testing::HasSubstr("cnt = 1;"));

  std::filesystem::remove_all(device.directory + "/app");
  const Dictionary again = launched(world, device, "Conversions", 3);
  EXPECT_EQ(sent(again, "originalTrovixId"), uid);
  EXPECT_EQ(sent(again, "reinstallCounter"), "2") << "the keychain had been given the count";
}

Dictionary inGroup(bool isAppClip) {
  return {{"bundle", Dictionary{{"identifier", "com.example.shop"},
                                {"info", Dictionary{{"CFBundleVersion", "42"},
                                                    {"TrovixAppGroupName", "group.com.example.shop"},
                                                    {"TrovixAppClip", isAppClip}}}}}};
}

TEST(PersistenceTest, AnApplicationTakesItsStateIntoAGroupOnce) {
  const World world;
  const Device alone{world.directory / "device"};
  const Device grouped{alone.directory, inGroup(false)};
  const std::string uid = sent(launched(world, alone, "Conversions"), "uid");
  std::vector<int> statuses;
  for (std::size_t i = 1; i <= 2; ++i) {
    Application app(world, grouped);
    statuses.push_back(app.sdk.parts().migrationStatus);
    app.launch();
    const Dictionary launch = world.received("Launches", i)[i - 1];
    EXPECT_EQ(sent(launch, "uid"), uid);
    EXPECT_EQ(sent(launch, "counter"), std::to_string(1 + i));
    EXPECT_TRUE(app.comesToRest());
  }
  EXPECT_THAT(statuses, ElementsAre(1, 0));
}

TEST(PersistenceTest, AnAppClipHandsItsInstallOverToTheFullApplication) {
  const World world;
  const Device clip{world.directory / "clip", inGroup(true)};
  const Device full{world.directory / "full", inGroup(false)};
  std::filesystem::create_directories(full.directory);
  std::filesystem::create_directories(clip.directory + "/group");
  std::filesystem::create_directory_symlink(clip.directory + "/group", full.directory + "/group");
  const std::string uid = sent(launched(world, clip, "Conversions"), "uid");
  {
    Application app(world, full);
    EXPECT_EQ(app.sdk.parts().migrationStatus, 1);
    app.launch();
    const Dictionary launch = world.received("Launches", 1)[0];
    EXPECT_EQ(sent(launch, "uid"), uid) << "no second install";
    EXPECT_EQ(sent(launch, "counter"), "2");
    EXPECT_EQ(sent(world.received("InApps", 1)[0], "eventName"), "tx_app_clip_to_full_app");
    EXPECT_TRUE(app.comesToRest());
  }
  launched(world, full, "Launches", 2);
  EXPECT_THAT(world.collector.requestsOfKind("InApps"), SizeIs(1)) << "handed over once";
}

TEST(PersistenceTest, DamagedFilesAreSetAsideAndTheRestGoesOn) {
  const World world;
  const Device device{world.directory / "device"};
  const std::string uid = sent(launched(world, device, "Conversions"), "uid");

  const std::string preferences = device.directory + "/app/Library/Preferences";
  const std::string cache = device.directory + "/app/Library/Caches/trovix-v1";
  for (const char* suffix : {"-wal", "-shm"}) std::filesystem::remove(preferences + "/standard.sqlite" + suffix);
  platform::overwrite(preferences + "/standard.sqlite", std::string(8192, '\x5a'));
  std::filesystem::create_directories(cache + "/nested");
  for (const char* name : {"/empty.plist", "/foreign.txt", "/nested/bad.plist"}) platform::overwrite(cache + name, "");
  platform::overwrite(cache + "/700000000.0001.plist", "bplist00 and no more");
  platform::overwrite(cache + "/700000000.0002.plist",
                      "<plist version=\"1.0\"><dict><key>.METADATA</key><array/></dict></plist>");

  Application app(world, device);
  app.launch();
  app.sdk.logEvent("still here");
  const Dictionary launch = world.received("Conversions", 2)[1];
  EXPECT_EQ(sent(launch, "originalTrovixId"), uid) << "the keychain still knows";
  expectGenuine(world.received("InApps", 1)[0]);
  EXPECT_TRUE(app.comesToRest());
  EXPECT_THAT(world.directory.entriesWith("standard.sqlite.corrupt-"), testing::Not(IsEmpty()));
  EXPECT_THAT(world.directory.entriesWith(".plist"), IsEmpty());
  EXPECT_THAT(world.directory.entriesWith("foreign.txt"), IsEmpty());
  EXPECT_THAT(world.collector.requestsOfKind("Launches"), IsEmpty());
}

}  // namespace
}  // namespace trovix::test
