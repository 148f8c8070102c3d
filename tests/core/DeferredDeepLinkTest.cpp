#include "core/TrovixLibFixture.h"

namespace trovix::test {

using Status = TrovixDeepLinkResultStatus;

struct DeferredDeepLinkTest : TrovixLibFixture {
  DeferredDeepLinkTest() { makeSdk(); }

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
  sdk->setTrovixDevKey("kVx2pQ9sLmN4");
  sdk->setDeepLinkTimeout(1500);
  setDelegate();
  ASSERT_THAT(asked(), SizeIs(1));
  const platform::URLRequest request = asked()[0].request;
  EXPECT_EQ(request.url,
            "https://dlsdk.trovix.example/v1.0/ios/id1234567890?sdk_version=6.2&tx_sig="
            "63b1d90cd00dd6c13e2cf39dc3b03e7f3fdab3228229a2607d77f1a46202f18d");
  EXPECT_EQ(request.timeoutInterval, 1.5);
  Dictionary expected = *dictionaryFromJson(R"({"timestamp": "2021-03-04T13:30:12.000", "is_first": true,
      "lang": "en-US", "os": "17.2", "type": "iPhone", "att_status": 3, "request_count": 1,
      "idfa": {"value": "7D3E5B21-90AC-4F6E-B1D8-0A4C9E6F2357", "type": "unhashed"},
      "idfv": {"value": "5C1A9F0E-3B77-4D0A-8C52-6E1F2B9D4A30", "type": "unhashed"}})");
  expected.set("request_id", sdk->getTrovixUID());
  EXPECT_EQ(asked()[0].json(), expected);
}

TEST_F(DeferredDeepLinkTest, LeavesOutWhatIsDisabled) {
  device->locale.country.reset();
  device->facts.vendorIdentifier.reset();
  sdk->setSharingFilter({{"partner"}});
  sdk->setDisableAdvertisingIdentifier(true);
  setDelegate();
  const Dictionary body = asked().at(0).json();
  EXPECT_EQ(*body.string("lang"), "en");
  EXPECT_FALSE(body.contains("idfa"));
  EXPECT_EQ(*body.dictionary("idfv"), (Dictionary{{"value", ""}, {"type", "unhashed"}}));
  EXPECT_EQ(*body.array("sharing_filter"), Array{"partner"});
}

TEST_F(DeferredDeepLinkTest, TellsTheOutcomeWhateverItIs) {
  const std::tuple<const char*, Answer, Status, std::string> cases[] = {
      {"found", {.body = R"({"found":true,"click_event":{"deep_link_value":"v"}})"}, Status::found, ""},
      {"none", {.body = R"({"found":false})"}, Status::notFound, ""},
      {"refused", {.status = 503}, Status::notFound, ""},
      {"root", {.body = "[true]"}, Status::notFound, ""},
      {"page", {.body = "<html>"}, Status::error, "<html>"},
      {"lost", Answer::failure(platform::urlError::networkConnectionLost), Status::error, "Request failed"},
      {"slow", {.delay = 61}, Status::error, "Resolve DeepLink timeout"}};
  for (const auto& [name, answer, status, message] : cases) {
    reinstall();
    device->network.answer("dlsdk", answer);
    setDelegate();
    device->advance(60);
    ASSERT_THAT(results, SizeIs(1)) << name;
    EXPECT_EQ(results[0].status(), status) << name;
    EXPECT_EQ(results[0].error() ? results[0].error()->localizedDescription() : "", message) << name;
    EXPECT_EQ(results[0].deepLink() && results[0].deepLink()->isDeferred(), status == Status::found);
    EXPECT_THAT(asked(), SizeIs(1)) << name << ": never tried again";
    // The buffer has moved on.
    start();
    EXPECT_THAT(sent("conversions"), SizeIs(1)) << name;
  }
}

TEST_F(DeferredDeepLinkTest, AsksOnceAProcessAndOnlyBeforeTheFirstLaunch) {
  setDelegate();
  setDelegate();
  EXPECT_THAT(asked(), SizeIs(1));
  EXPECT_THAT(results, SizeIs(1));

  restart();
  setDelegate();
  EXPECT_THAT(asked(), SizeIs(1)) << "a process that has not launched yet asks again";

  restart();
  start();
  setDelegate();
  EXPECT_THAT(asked(), IsEmpty());

  reinstall();
  sdk->setDeepLinkDelegate({});
  device->runUntilIdle();
  setDelegate();
  EXPECT_THAT(asked(), IsEmpty()) << "the one question is spent on nobody";
}

TEST_F(DeferredDeepLinkTest, MeasuresAResultThatIsSkipped) {
  sdk->parts().session.skipDDLResult = true;
  device->network.answer("dlsdk", Answer{.body = R"({"found":true})"});
  setDelegate();
  EXPECT_THAT(asked(), SizeIs(1));
  EXPECT_THAT(results, IsEmpty());
  EXPECT_EQ(sdk->parts().performance.infoForKey("ddl.status"), Value("FOUND"));
}

}  // namespace trovix::test
