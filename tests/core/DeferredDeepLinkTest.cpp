#include "core/TrovixLibFixture.h"
#include "platform/Json.h"

namespace trovix::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using Status = TrovixDeepLinkResultStatus;

class DeferredDeepLinkTest : public TrovixLibFixture {
 protected:
  void setDelegate() {
    deepLinkDelegate = std::make_shared<TrovixDeepLinkDelegate>();
    deepLinkDelegate->didResolveDeepLink = [this](const TrovixDeepLinkResult& result) { results.push_back(result); };
    sdk->setDeepLinkDelegate(deepLinkDelegate);
    device->runUntilIdle();
  }
  /// An install on which nothing has happened yet.
  void reinstall() {
    sdk.reset();
    disk = std::make_shared<SimulatedDisk>();
    restart();
    results.clear();
  }
  std::vector<RecordedRequest> asked() const { return device->network.requestsTo("dlsdk"); }

  std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate;
  std::vector<TrovixDeepLinkResult> results;
};

TEST_F(DeferredDeepLinkTest, AsksWithTheFactsThatMayBeTold) {
  device->setNow(1614864612);
  makeSdk();
  sdk->setTrovixDevKey("kVx2pQ9sLmN4");
  sdk->setDeepLinkTimeout(1500);
  const LogCapture log(*device);
  setDelegate();
  ASSERT_THAT(asked(), SizeIs(1));
  const platform::URLRequest request = asked()[0].request;
  EXPECT_EQ(request.url,
            "https://dlsdk.trovix.example/v1.0/ios/id1234567890?sdk_version=6.2&tx_sig="
            "63b1d90cd00dd6c13e2cf39dc3b03e7f3fdab3228229a2607d77f1a46202f18d");
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.timeoutInterval, 1.5);
  EXPECT_TRUE(log.has("DDL Timeout: 1.50000sec\n"));
  EXPECT_TRUE(log.has("[DDL] Delegate: TrovixDeepLinkDelegate\n"));
  const auto body = platform::parseJson(asked()[0].body());
  ASSERT_TRUE(body);
  const auto& frameworks = device->frameworks;
  EXPECT_EQ(*body, Value(Dictionary{
                       {"timestamp", "2021-03-04T13:30:12.000"},
                       {"is_first", true},
                       {"lang", "en-US"},
                       {"os", "17.2"},
                       {"type", "iPhone"},
                       {"idfa", Dictionary{{"value", frameworks.identifiers.identifier.value()}, {"type", "unhashed"}}},
                       {"idfv", Dictionary{{"value", device->facts.vendorIdentifier.value()}, {"type", "unhashed"}}},
                       {"att_status", 3},
                       {"request_count", 1},
                       {"request_id", sdk->getTrovixUID()}}));
}

TEST_F(DeferredDeepLinkTest, LeavesOutWhatIsDisabled) {
  makeSdk();
  device->locale.country.reset();
  device->facts.vendorIdentifier.reset();
  sdk->setSharingFilter({{"partner"}});
  sdk->setDisableAdvertisingIdentifier(true);
  setDelegate();
  ASSERT_THAT(asked(), SizeIs(1));
  Dictionary body = *platform::parseJson(asked()[0].body())->dictionary();
  EXPECT_EQ(*body.string("lang"), "en");
  EXPECT_FALSE(body.contains("idfa"));
  EXPECT_EQ(*body.dictionary("idfv"), (Dictionary{{"value", ""}, {"type", "unhashed"}}));
  EXPECT_EQ(*body.array("sharing_filter"), Array{"partner"});

  reinstall();
  sdk->setDisableIDFVCollection(true);
  setDelegate();
  body = *platform::parseJson(asked()[0].body())->dictionary();
  EXPECT_TRUE(body.contains("idfa"));
  EXPECT_FALSE(body.contains("idfv"));
}

TEST_F(DeferredDeepLinkTest, TellsTheOutcomeWhateverItIs) {
  const struct {
    const char* name;
    Answer answer;
    Status status;
    std::string message;
  } cases[] = {
      {"found", {.body = R"({"found":true,"click_event":{"deep_link_value":"v"}})"}, Status::found, ""},
      {"none", {.body = R"({"found":false})"}, Status::notFound, ""},
      {"refused", {.status = 503}, Status::notFound, ""},
      {"root", {.body = "[true]"}, Status::notFound, ""},
      {"page", {.body = "<html>"}, Status::error, "<html>"},
      {"lost", Answer::failure(platform::urlError::networkConnectionLost), Status::error, "Request failed"},
      {"slow", {.delay = 61}, Status::error, "Resolve DeepLink timeout"},
  };
  for (const auto& each : cases) {
    reinstall();
    device->network.answer("dlsdk", each.answer);
    setDelegate();
    device->advance(60);
    ASSERT_THAT(results, SizeIs(1)) << each.name;
    EXPECT_EQ(results[0].status(), each.status) << each.name;
    EXPECT_EQ(results[0].error() ? results[0].error()->localizedDescription() : "", each.message) << each.name;
    EXPECT_EQ(results[0].deepLink() && results[0].deepLink()->isDeferred(), each.status == Status::found);
    EXPECT_THAT(asked(), SizeIs(1)) << each.name << ": never tried again";
    // The buffer has moved on.
    start();
    EXPECT_THAT(sent("conversions"), SizeIs(1)) << each.name;
  }
}

TEST_F(DeferredDeepLinkTest, AsksOnceAProcessAndOnlyBeforeTheFirstLaunch) {
  makeSdk();
  setDelegate();
  setDelegate();
  EXPECT_THAT(asked(), SizeIs(1));
  EXPECT_THAT(results, SizeIs(1));

  restart();
  setDelegate();
  EXPECT_THAT(asked(), SizeIs(1)) << "a process that has not launched yet asks again";

  restart();
  start();
  const LogCapture log(*device);
  setDelegate();
  EXPECT_THAT(asked(), IsEmpty());
  EXPECT_TRUE(log.has("[DDL] DDL already has been resolved\n"));
}

TEST_F(DeferredDeepLinkTest, SpendsItsOneQuestionOnNobody) {
  makeSdk();
  sdk->setDeepLinkDelegate({});
  device->runUntilIdle();
  setDelegate();
  EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(DeferredDeepLinkTest, MeasuresAResultThatIsSkipped) {
  makeSdk();
  sdk->parts().settings.skipDDLResult = true;
  device->network.answer("dlsdk", Answer{.body = R"({"found":true})"});
  const LogCapture log(*device);
  setDelegate();
  EXPECT_THAT(asked(), SizeIs(1));
  EXPECT_THAT(results, IsEmpty());
  EXPECT_TRUE(log.has("[DDL] Skipping `DDL` result\n"));
  EXPECT_EQ(sdk->parts().performance.infoForKey("ddl.status"), Value("FOUND"));
  EXPECT_EQ(sdk->parts().performance.infoForKey("ddl.timeout_value"), Value(60000));
}

}  // namespace
}  // namespace trovix::test
