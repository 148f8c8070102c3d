#include "core/TrovixLibFixture.h"

namespace trovix::test {

constexpr double sixtyDays = 5'184'000;

struct ConversionDataTest : TrovixLibFixture {
  ConversionDataTest() { makeSdk(); }

  void get() {
    sdk->getConversionData();
    device->runUntilIdle();
  }
  std::size_t fetchCount() const { return device->network.requestsTo("gcdsdk.").size(); }
  void keep(Dictionary data) { storage().archive(std::move(data), "TrovixConversiondataKey"); }
};

TEST_F(ConversionDataTest, TellsVerdictsFromFailures) {
  using platform::urlError::timedOut;
  const Dictionary organic{{"tx_status", "Organic"}, {"tx_message", "organic install"}, {"is_first_launch", true}};
  const std::tuple<const char*, Answer, std::optional<Dictionary>, std::string> cases[] = {
      {"an answer", {.body = R"({"campaign":"c"})"}, Dictionary{{"campaign", "c"}, {"is_first_launch", true}}, ""},
      {"not found", {.status = 404, .body = ""}, organic, ""},
      {"not found in HTML", {.status = 404, .body = "<p>"}, organic, ""},
      {"not found, with reasons", {.status = 404, .body = R"({"error_reason":"x","status_code":404})"}, organic, ""},
      {"a reason", {.status = 400, .body = R"({"error_reason":"bad key"})"}, std::nullopt, "bad key"},
      {"no text for a reason",
       {.status = 500, .body = R"({"error_reason":7})"},
       std::nullopt,
       "Error with status code: 500"},
      {"a refusal in HTML", {.status = 502, .body = "<p>"}, std::nullopt, "Error with status code: 502"},
      {"the network", Answer::failure(timedOut), std::nullopt, "Request failed"},
      {"half an answer", {.body = R"({"campaign")"}, std::nullopt, R"({"campaign")"}};
  for (const auto& [name, answer, verdict, message] : cases) {
    SCOPED_TRACE(name);
    disk = std::make_shared<SimulatedDisk>();
    restart();
    successes.clear();
    failures.clear();
    device->network.answer("gcdsdk.", answer);
    get();
    if (verdict) {
      EXPECT_THAT(successes, ElementsAre(*verdict));
      EXPECT_THAT(failures, IsEmpty());
    } else {
      EXPECT_THAT(successes, IsEmpty());
      ASSERT_THAT(failures, SizeIs(1));
      EXPECT_EQ(failures[0].localizedDescription(), message);
      EXPECT_EQ(storage().unarchiveForKey("TrovixConversiondataKey"), std::nullopt);
    }
  }
}

TEST_F(ConversionDataTest, AsksOnceAndServesItsKeptVerdictWithoutTheFirstLaunchMark) {
  device->network.answer("gcdsdk.", Answer{.body = R"({"a":1,"iscache":false})", .delay = 0.25});
  sdk->getConversionData();
  device->advance(1);
  ASSERT_EQ(fetchCount(), 1u);
  EXPECT_EQ(device->network.requestsTo("gcdsdk.")[0].url(),
            "https://gcdsdk.trovix.example/install_data/v4.0/id1234567890?devkey=AbCdEfGhIjKlMn&device_id=" +
                sdk->getTrovixUID());
  EXPECT_EQ(storage().doubleForKey("TrovixGetConversionDataTiming"), 250);
  EXPECT_EQ(storage().doubleForKey("TrovixConversionDataCacheExpiration"), 1'700'000'000.25);
  get();
  sdk->setIsStopped(true);
  get();
  EXPECT_EQ(fetchCount(), 1u);
  const auto verdict = [](bool isFirst) {
    return Dictionary{{"a", 1}, {"iscache", false}, {"is_first_launch", isFirst}};
  };
  EXPECT_THAT(successes, ElementsAre(verdict(true), verdict(false), verdict(false)));

  // A later fetch is no first delivery, and data of the server's cache renews nothing.
  sdk->setIsStopped(false);
  storage().removeKey("TrovixConversiondataKey");
  device->network.answer("gcdsdk.", Answer{.body = R"({"iscache":true})"});
  get();
  EXPECT_EQ(successes.back(), (Dictionary{{"iscache", true}, {"is_first_launch", false}}));
  EXPECT_EQ(storage().doubleForKey("TrovixConversionDataCacheExpiration"), 1'700'000'000.25);
}

TEST_F(ConversionDataTest, RevivesAnExpiredVerdictAfterAFailedFetch) {
  keep({{"old", true}});
  storage().setDouble(device->now() - sixtyDays - 1, "TrovixConversionDataCacheExpiration");
  networkDown();
  get();
  EXPECT_THAT(successes, IsEmpty());
  EXPECT_THAT(failures, SizeIs(1));
  get();
  EXPECT_THAT(successes, ElementsAre(Dictionary{{"old", true}}));
  EXPECT_EQ(fetchCount(), 1u);
}

TEST_F(ConversionDataTest, AsksForNobodyAndDropsTheAnswerOfADelegateThatIsGone) {
  sdk->setIsStopped(true);
  get();
  sdk->setIsStopped(false);
  const auto onSuccess = std::exchange(delegate->onConversionDataSuccess, nullptr);
  get();
  EXPECT_EQ(fetchCount(), 0u);

  delegate->onConversionDataSuccess = onSuccess;
  device->network.answer("gcdsdk.", Answer{.delay = 1});
  sdk->getConversionData();
  delegate.reset();
  device->advance(2);
  EXPECT_THAT(successes, IsEmpty());
  EXPECT_TRUE(storage().unarchiveForKey("TrovixConversiondataKey"));
  get();
  EXPECT_EQ(fetchCount(), 1u);
}

}  // namespace trovix::test
