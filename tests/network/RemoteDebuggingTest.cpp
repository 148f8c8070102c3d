#include "network/TrovixProxyManager.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKUserDefaultsStorage.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

struct Host final : RemoteDebugHost {
  std::string devKey() const override { return key; }
  std::string trovixUID() const override { return "uid"; }
  std::string appleAppID() const override { return "123456789"; }
  std::string appVersion() const override { return "42"; }
  void remoteDebuggingCallWithData(const std::string& data) override { uploads.push_back(data); }

  std::string key = "key";
  std::vector<std::string> uploads;
};

struct RemoteDebuggingTest : testing::Test {
  SimulatedDevice device;
  TXSDKUserDefaultsStorage storage{device.userDefaults};
  Host host;
  TrovixProxyManager manager{device.clock, device.locale, storage};
};

TEST_F(RemoteDebuggingTest, CollectsTheLogUntilTheServerSaysNo) {
  manager.attach(&host);
  TX_LOG(trace, "before {}", "launch");
  EXPECT_THAT(manager.getJSONString(), HasSubstr("2023-11-14 17:13:20 (--:--:--:---) [TRACE] -["));
  EXPECT_THAT(manager.getJSONString(), HasSubstr(": before launch"));

  manager.stopRemoteDebugging();
  manager.dropPreLaunchData();
  EXPECT_FALSE(logging::isWanted(LogLevel::error)) << "a log site costs a flag test again";

  manager.startRemoteDebugging();
  TX_LOG(debug, "after");
  EXPECT_THAT(manager.getJSONString(), HasSubstr("after"));
  EXPECT_THAT(manager.getJSONString(), Not(HasSubstr("Turning"))) << "collection was off when it was said";

  manager.setProxyManagerDisabled(true);
  EXPECT_FALSE(logging::isWanted(LogLevel::error));
  manager.sendRemoteDebuggingDataWithModel("m", "v");
  EXPECT_TRUE(host.uploads.empty());
}

TEST_F(RemoteDebuggingTest, StopsAtItsBudget) {
  manager.attach(&host);
  const std::size_t stamp = std::string("2023-11-14 17:13:20 ").size();
  manager.addEventWithString(std::string(98300 - stamp, 'x'));
  ASSERT_EQ(manager.requestSize(), 98300);
  manager.addEventWithString(std::string(200 - stamp, 'y'));
  EXPECT_EQ(manager.requestSize(), 98500) << "the last line may cross";
  EXPECT_FALSE(logging::isWanted(LogLevel::error)) << "a log site costs a flag test again";
  manager.addEventWithString("z");
  EXPECT_EQ(manager.requestSize(), 98500);
  manager.clearData();
  addLogEvent(manager, 4, "-[Some thing]", "again");
  EXPECT_THAT(manager.getJSONString(), testing::EndsWith(R"([DEBUG] -[Some thing]: again"]})"));
  EXPECT_TRUE(logging::isWanted(LogLevel::error));
}

TEST_F(RemoteDebuggingTest, FreezesTheStaticDataWhenItIsFirstStored) {
  manager.attach(&host);
  manager.addEventWithString("line");
  manager.sendRemoteDebuggingDataWithModel("iPhone14,5", "17.2");
  const std::string head =
      R"({"brand":"Apple","model":"iPhone14,5","platform":"iOS","platform_version":"17.2","advertiserId":"n/a",)"
      R"("sdk_version":"6.2.2","devkey":"key","originalTrovixId":"uid","uid":"uid","launch_counter":")";
  const std::string tail = R"(","app_id":"123456789","app_version":"42","data":[)";
  EXPECT_EQ(host.uploads.at(0), head + "-1" + tail + R"("2023-11-14 17:13:20 line"]})");
  EXPECT_EQ(manager.requestSize(), 0);

  host.key = "another";
  storage.setInteger(7, storageKey::launchCounter);
  TrovixProxyManager next(device.clock, device.locale, storage);
  next.attach(&host);
  next.sendRemoteDebuggingDataWithModel("other", "18.0");
  EXPECT_EQ(host.uploads.at(1), head + "7" + tail + "]}");
}

}  // namespace
}  // namespace trovix::test
