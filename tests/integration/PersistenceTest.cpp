#include <filesystem>

#include "core/TrovixLibParts.h"
#include "integration/Application.h"

namespace trovix::test {
namespace {

/// Everything that a launch of an application over the directory sent.
Dictionary launched(const World& world, const Device& device, const char* kind, std::size_t count = 1) {
  Application app(world, device);
  app.launch();
  Dictionary request = world.received(kind, count)[count - 1];
  expectGenuine(request);
  EXPECT_TRUE(app.comesToRest());
  return request;
}

TEST(PersistenceTest, AReinstallKeepsTheFirstIdentity) {
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
}

Dictionary inGroup(bool isAppClip) {
  return {{"bundle", Dictionary{{"identifier", "com.example.shop"},
                                {"info", Dictionary{{"CFBundleVersion", "42"},
                                                    {"TrovixAppGroupName", "group.com.example.shop"},
                                                    {"TrovixAppClip", isAppClip}}}}}};
}

TEST(PersistenceTest, AnAppClipHandsItsInstallOverToTheFullApplication) {
  const World world;
  const Device clip{world.directory / "clip", inGroup(true)};
  const Device full{world.directory / "full", inGroup(false)};
  std::filesystem::create_directories(full.directory);
  std::filesystem::create_directories(clip.directory + "/group");
  std::filesystem::create_directory_symlink(clip.directory + "/group", full.directory + "/group");
  const Dictionary first = launched(world, clip, "Conversions");
  EXPECT_EQ(sent(first, "app_type"), "app_clip");
  {
    Application app(world, full);
    EXPECT_EQ(app.sdk.parts().migrationStatus, 1);
    app.launch();
    const Dictionary launch = world.received("Launches", 1)[0];
    EXPECT_EQ(sent(launch, "uid"), sent(first, "uid")) << "no second install";
    EXPECT_EQ(sent(launch, "wac"), "1");
    EXPECT_EQ(sent(launch, "counter"), "2");
    EXPECT_EQ(sent(world.received("InApps", 1)[0], "eventName"), "tx_app_clip_to_full_app");
    EXPECT_TRUE(app.comesToRest());
  }
  launched(world, full, "Launches", 2);
  EXPECT_THAT(world.collector.requestsOfKind("InApps"), SizeIs(1)) << "handed over once";
}

}  // namespace
}  // namespace trovix::test
