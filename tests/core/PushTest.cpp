#include "core/TrovixLibFixture.h"

namespace trovix::test {

using Text = std::optional<std::string>;

struct PushTest : TrovixLibFixture {
  PushTest() { makeSdk(); }

  std::vector<RecordedRequest> registrations() const { return device->network.requestsTo("register."); }
  void registerToken(Data token) {
    sdk->registerUninstall(token);
    device->advance(3.5);
  }
  Dictionary lastBody() const { return registrations().back().json(); }
  std::string keys() const {
    std::string text;
    for (const auto& [key, value] : lastBody()) text += key + " ";
    return text;
  }
};

TEST_F(PushTest, RegistersATokenOnceAfterItsDelay) {
  sdk->registerUninstall({0xAB, 0x01});
  device->advance(3.499);
  EXPECT_THAT(registrations(), IsEmpty());
  EXPECT_FALSE(storage().stringForKey("TrovixDeviceToken"));
  networkDown();
  device->advance(0.001);
  ASSERT_THAT(registrations(), SizeIs(1));
  EXPECT_EQ(registrations()[0].url(),
            "https://register.trovix.example/api/v6.2/iosevent?buildnumber=6.2.2&app_id=1234567890");
  registerToken({0xAB, 0x01});
  sdk->setIsStopped(true);
  registerToken({0xCD});
  EXPECT_EQ(storage().stringForKey("TrovixDeviceToken"), "ab01");
  sdk->setIsStopped(false);
  registerToken({});
  EXPECT_THAT(registrations(), SizeIs(1)) << "a failed registration is not tried again with the same token";

  registerToken(Data(1 << 20, 0xFF));
  EXPECT_EQ(lastBody().string("devicetoken")->size(), 2u << 20);

  beginProcess();
  device->bundle.info.set("TrovixAppClip", true);
  makeSdk();
  registerToken({0xEF});
  EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(PushTest, DescribesTheInstallToTheRegistry) {
  start();
  registerToken({1});
  const std::string common =
      "devkey uid devicetoken launch_counter topic install_date advertiserId OriginalTrovixId reInstallCounter "
      "sdk_version useDevelopment bundleversion bundlename shortbundleversion wifi deviceData ";
  EXPECT_EQ(keys(), common + "vendorId att_status ");
  EXPECT_EQ(*lastBody().string("launch_counter"), "1");

  sdk->setDisableIDFVCollection(true);
  sdk->setAnonymizeUser(true);
  sdk->setCustomerUserID("ada");
  sdk->setUseUninstallSandbox(true);
  device->facts.version = "13.1";
  registerToken({2});
  EXPECT_EQ(keys(), common + "idfv_optout appUID deviceTrackingDisabled ") << "no consent before 14";
  EXPECT_EQ(*lastBody().string("deviceTrackingDisabled"), "true");
  EXPECT_EQ(*lastBody().find("useDevelopment"), Value(true));
}

TEST_F(PushTest, FindsTheLinkOrTheInformationInAPayload) {
  for (const auto& path : {std::vector<std::string>{"data", "url"}, {"data", "url"}, {"link"}}) {
    sdk->addPushNotificationDeepLinkPath(path);
  }
  sdk->addPushNotificationDeepLinkPath(std::nullopt);
  EXPECT_THAT(*sdk->parts().pushPaths.deepLinkSearchPaths(), SizeIs(2));
  const std::tuple<std::string, Text, Text> cases[] = {
      {R"({"tx": "https://a.example/1"})", "https://a.example/1", {}},
      {R"({"tx": "plain text"})", {}, "plain text"},
      {R"({"tx": {"pid": "x"}})", {}, R"({"pid":"x"})"},
      {R"({"tx": "first", "link": "https://b.test/", "data": {"url": "https://a.test/"}})", "https://a.test/", {}},
      {R"({"tx": "first", "data": {"url": "no-host"}})", {}, "first"},
      {R"({"tx": "first", "data": {"url": {"deeper": "https://a.example/"}}})", {}, "first"},
      {R"({"tx": "first", "data": "https://a.example/stopped-early"})", "https://a.example/stopped-early", {}},
      {R"({"a": {"b": {"tx": "third"}}, "c": {"tx": "second"}})", {}, "third"},
      {R"({"tx": 7, "a": {"x": {"data": {"url": "myapp://shop/1"}}}})", "myapp://shop/1", {}},
      {R"({"1": {"2": {"3": {"tx": "fourth"}}}})", {}, "fourth"},
      {R"({"1": {"2": {"3": {"4": {"tx": "fifth"}}}}, "z": {"tx": "sibling"}})", {}, "sibling"},
      {R"({"tx": "", "a": {"tx": "not looked for"}})", {}, {}},
      {R"({"aps": {"alert": "hello"}})", {}, {}}};
  for (const auto& [payload, link, information] : cases) {
    SCOPED_TRACE(payload.substr(0, 100));
    sdk->parts().deepLinks.setDeepLinkAndResolve(std::nullopt, LinkHandler::cleared);
    sdk->handlePushNotification(*dictionaryFromJson(payload));
    EXPECT_EQ(sdk->parts().deepLinks.deeplink(), link);
    EXPECT_EQ(sdk->parts().push.takeNotificationUserInfo(), information);
  }
  sdk->handlePushNotification({{"tx", Dictionary{{"when", Date{0}}}}, {"a", Dictionary{{"tx", "other"}}}});
  EXPECT_FALSE(sdk->parts().push.takeNotificationUserInfo());
  Dictionary deep{{"tx", "late"}};
  for (int i = 0; i < 1000; ++i) deep = Dictionary{{"n", std::move(deep)}};
  sdk->handlePushNotification(deep);
  EXPECT_FALSE(sdk->parts().push.takeNotificationUserInfo());
}

TEST_F(PushTest, InformationTravelsWithTheNextLaunchOnly) {
  sdk->handlePushNotification({{"tx", Dictionary{{"pid", "x"}}}});
  log("bought");
  start();
  device->notificationCenter.post(platform::application::didEnterBackground);
  device->advance(10);
  start();
  EXPECT_EQ(sent("conversions.").at(0).text("tx_deeplink"), R"({"pid":"x"})");
  EXPECT_EQ(sent("inapps.").at(0).text("tx_deeplink"), "(missing)");
  EXPECT_EQ(sent("launches.").at(0).text("tx_deeplink"), "(missing)");
}

}  // namespace trovix::test
