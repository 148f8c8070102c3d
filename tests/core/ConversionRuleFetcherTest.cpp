#include "core/TrovixLibFixture.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ConversionRuleFetcherTest : public TrovixLibFixture {
 protected:
  void post(const char* notification) {
    device->notificationCenter.post(notification);
    device->runUntilIdle();
  }
  /// The install whose signatures are known.
  void placeKnownInstall() {
    device->setNow(1614864612);
    device->userDefaults.standard().set("TrovixUserId", "1612345678901-1234567");
  }
  void finishLaunching() { post(platform::application::didFinishLaunching); }
  /// A process whose rule request gets this answer.
  void fetchRule(const Answer& answer, bool disabled = false) {
    device->network.answer("skadsdk.", answer);
    makeSdk();
    sdk->setDisableSKAdNetwork(disabled);
    finishLaunching();
  }
  static void expectRequest(const RecordedRequest& sent, const std::string& url, const std::string& authorization) {
    EXPECT_EQ(sent.url(), url);
    EXPECT_EQ(sent.request.method, "GET");
    EXPECT_FALSE(sent.request.body);
    EXPECT_EQ(sent.session, SessionKind::shared);
    EXPECT_EQ(sent.request.timeoutInterval, 4.0);
    ASSERT_TRUE(sent.request.headers.find("Tx-Timestamp") && sent.request.headers.find("Authorization"));
    EXPECT_EQ(*sent.request.headers.find("Tx-Timestamp"), "1614864612000");
    EXPECT_EQ(*sent.request.headers.find("Authorization"), authorization);
  }
};

TEST_F(ConversionRuleFetcherTest, AsksOnceWhenEverythingIsKnownAndNeverWithAStoredRule) {
  placeKnownInstall();
  sdk = std::make_unique<TrovixLib>(*device);
  const auto tellKey = [&] { sdk->setTrovixDevKey("kVx2pQ9sLmN4"); };
  const auto tellApp = [&] { sdk->setAppleAppID(Value("123456789")); };
  finishLaunching();
  tellKey();
  finishLaunching();
  EXPECT_THAT(device->network.requests, IsEmpty());
  tellApp();
  device->runUntilIdle();
  ASSERT_THAT(device->network.requests, SizeIs(1));
  expectRequest(device->network.requests[0],
                "https://skadsdk.trovix.example/api/v1.0/"
                "rules?uid=1612345678901-1234567&app_id=id123456789&currency=USD",
                "171800e22bda3d9c73c100b887e880d0cdb4f9cb3c06324668e6c0af47c82ab5");
  tellKey();
  tellApp();
  finishLaunching();
  EXPECT_THAT(device->network.requests, SizeIs(1)) << "once in a process, whatever the answer was";

  for (const std::size_t requests : {1u, 0u}) {  // the first of these processes stores the rule
    beginProcess();
    fetchRule({.body = R"({"sk_rules": {"en": "level"}})"});
    EXPECT_THAT(device->network.requestsTo("skadsdk."), SizeIs(requests));
  }
}

TEST_F(ConversionRuleFetcherTest, HoldsTheBufferUntilTheAnswerOrForFourSeconds) {
  const struct {
    Answer answer;
    bool disabled;
    const char* log;
  } cases[] = {{{.body = R"({"sk_rules": {"ev": ["a"]}})"}, false, "didReceiveConfiguration: 255"},
               {{.body = R"({"sk_rules": {"ev": ["a"]}})"}, true, "didReceiveConfiguration: 0"},
               {{.status = 500, .body = R"({"sk_rules": [[[]]]})"}, false, "didReceiveConfiguration: 3"},
               {{.body = "[]"}, false, "didReceiveConfiguration: 2"},
               {{.body = "<html>"}, false, "[SKAd] Request Error: "},
               {{.delay = 60}, false, "[SKAd] Request Error: "}};
  for (const auto& testCase : cases) {
    disk = std::make_shared<SimulatedDisk>();
    beginProcess();
    const LogCapture log(*device);
    fetchRule(testCase.answer, testCase.disabled);
    start();
    device->advance(3.9);
    EXPECT_EQ(device->network.requestsTo("conversions.").size(), testCase.answer.delay > 0 ? 0u : 1u);
    device->advance(0.2);
    EXPECT_TRUE(log.has(testCase.log));
    EXPECT_THAT(device->network.requestsTo("skadsdk."), SizeIs(1));
    EXPECT_THAT(device->network.requestsTo("conversions."), SizeIs(1));
  }
}

TEST_F(ConversionRuleFetcherTest, FetchesTheServersValueInTheBackgroundWhileTheWindowIsOpen) {
  placeKnownInstall();
  makeSdk();
  sdk->setTrovixDevKey("kVx2pQ9sLmN4");
  sdk->setAppleAppID(Value("123456789"));
  sdk->setDisableSKAdNetwork(false);
  start();
  device->network.answer("skadsdk.", Answer{.body = R"({"sk_rules": {"s2s": true, "wi": 1}})"});
  finishLaunching();
  for (const char* body : {R"({"value": 40})", R"({"value": [41]})", R"({"value": 12})", R"({"value": 1e300})"}) {
    device->network.answer("skadsdkless.", Answer{.body = body});
    post(platform::application::didEnterBackground);
  }
  expectRequest(device->network.requestsTo("skadsdkless.").at(0),
                "https://skadsdkless.trovix.example/api/v1.0/"
                "conversion-value?uid=1612345678901-1234567&app_id=id123456789",
                "653b07c870e73c3153da98741f4ce129d5fdbc0487ba8d3f6adc8eef42aa81a0");
  EXPECT_THAT(device->frameworks.network.values, ElementsAre(40, 63));
  device->advance(3601);
  post(platform::application::didEnterBackground);
  EXPECT_THAT(device->network.requestsTo("skadsdkless."), SizeIs(4));
}

}  // namespace
}  // namespace trovix::test
