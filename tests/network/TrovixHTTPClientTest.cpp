#include "network/TrovixHTTPClient.h"

#include "network/Signing.h"
#include "network/TXSDKEvent.h"
#include "network/TrovixProxyManager.h"
#include "platform/Json.h"
#include "storage/TXSDKUserDefaultsStorage.h"
#include "support/LogCapture.h"

namespace trovix::test {
namespace {

struct Outcome {
  std::optional<Value> object;
  Dictionary information;
  std::optional<Error> error;
  std::int64_t status = -1;
};

struct TrovixHTTPClientTest : testing::Test {
  SimulatedDevice device;
  TXSDKUserDefaultsStorage storage{device.userDefaults};
  TrovixProxyManager remoteDebugging{device.clock, device.locale, storage};
  TXSDKChecksum checksum{device.environment, device.facts, device.integrity};
  Owner owner;
  std::shared_ptr<TXSDKHTTPClientProtocol> client =
      TXSDKHTTPClientFactory::HTTPClientWithType(0, device.platform(), checksum, remoteDebugging, {}, owner.lifetime());

  Outcome send(std::optional<std::string> URL = "https://inapps.test/api?note=a b") {
    std::vector<Outcome> outcomes;
    TXSDKEvent event({{"dev_key", "k"}, {"timestamp", "1612345678.9"}}, std::move(URL), "6.2.2", 16);
    client->sendEvent(std::make_shared<TXSDKEvent>(std::move(event)),
                      [&](std::optional<Value> object, std::optional<Error> error, std::int64_t status) {
                        outcomes.push_back({std::move(object), {}, std::move(error), status});
                      });
    return onlyOf(outcomes);
  }
  Outcome request(const std::string& URL, HTTPRequestOptions options) {
    std::vector<Outcome> outcomes;
    client->requestWithURL([=] { return URL; }, nullptr, std::move(options),
                           [&](std::optional<Value> object, const Dictionary& information, std::optional<Error> error) {
                             outcomes.push_back({std::move(object), information, std::move(error)});
                           });
    return onlyOf(outcomes);
  }
  Outcome onlyOf(std::vector<Outcome>& outcomes) {
    EXPECT_THAT(outcomes, IsEmpty()) << "never on the caller's stack";
    device.runUntilIdle();
    return outcomes.size() == 1 ? outcomes[0] : Outcome{};
  }
};

TEST_F(TrovixHTTPClientTest, EventsEndAsTheirStatusSays) {
  // Status, attempts, code of the error.
  const std::tuple<std::int64_t, std::size_t, std::int64_t> rows[] = {{302, 1, 0},  {403, 3, 50}, {404, 1, 40},
                                                                      {503, 3, 50}, {600, 1, 40}, {601, 1, 0}};
  for (const auto& [status, attempts, code] : rows) {
    device.network.requests.clear();
    device.network.answer("inapps", Answer{.status = status});
    const Outcome outcome = send();
    EXPECT_EQ(device.network.requests.size(), attempts) << status;
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.error ? outcome.error->code() : 0, code) << status;
    if (!outcome.error) continue;
    EXPECT_EQ(outcome.error->domain(), "example.trovix.sdk.network");
    EXPECT_EQ(outcome.error->localizedDescription(), "Status code failure: " + std::to_string(status));
  }
  EXPECT_EQ(device.network.requests.at(0).url(), "https://inapps.test/api?note=a%20b");

  device.network.answer("inapps", Answer::failure(platform::urlError::cannotConnectToHost));
  for (const std::int64_t cause : {platform::urlError::badURL, platform::urlError::cannotConnectToHost}) {
    const Outcome ended = send(cause == platform::urlError::badURL ? "no address" : "https://inapps.test/");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.error->localizedDescription(), "Network failure");
    EXPECT_EQ(ended.error->underlyingError()->code(), cause);
  }
  EXPECT_EQ(device.network.requests.size(), 2u) << "once, and what has no address never";
}

TEST_F(TrovixHTTPClientTest, AnswersSwitchRemoteDebugging) {
  const std::pair<const char*, bool> rows[] = {{"{\"monitor\":1}", true}, {"[1]", false}, {"", false}};
  for (const auto& [body, isOn] : rows) {
    remoteDebugging.addEventWithString("line");
    device.network.answer("inapps", Answer{.body = body});
    EXPECT_FALSE(send().error) << body;
    EXPECT_EQ(remoteDebugging.proxyEnabledFromServer(), isOn) << body;
    EXPECT_EQ(remoteDebugging.requestSize() > 0, isOn) << body;
  }
  device.network.answer("inapps", Answer{.status = 404, .body = R"({"monitor":1})"});
  send();
  EXPECT_FALSE(remoteDebugging.proxyEnabledFromServer()) << "a failure switches nothing";

  device.network.answer("inapps", Answer{.body = R"({"monitor":1})"});
  owner.die();
  send();
  EXPECT_FALSE(remoteDebugging.proxyEnabledFromServer()) << "nor does an answer that comes too late";
}

TEST_F(TrovixHTTPClientTest, GeneralRequestsReportTheWholeAnswer) {
  Answer final{.body = R"({"a":1})"};
  final.headers.set("Location", "https://elsewhere.test/");
  device.network.answerOnce("api", {.status = 503});
  device.network.answerOnce("api", final);
  const Outcome outcome = request("https://api.test/", {.method = "PUT",
                                                        .dictionary = Dictionary{{"k", "v"}},
                                                        .retries = 3,
                                                        .isReturnJSON = true,
                                                        .isSharedSession = false});
  EXPECT_EQ(outcome.object, Value(Dictionary{{"a", 1}}));
  const Dictionary expected{{"statusCode", 200},
                            {"taskIdentifier", device.network.requests.at(1).taskIdentifier},
                            {"data", Data{'{', '"', 'a', '"', ':', '1', '}'}},
                            {"dataStr", R"({"a":1})"},
                            {".Location", "https://elsewhere.test/"},
                            {"retries", 2}};  // what the second attempt was allowed
  EXPECT_EQ(outcome.information, expected);
  const RecordedRequest again = device.network.requests.at(1);
  EXPECT_EQ(again.session, SessionKind::ownSession);
  EXPECT_EQ(again.body(), R"({"k":"v"})");
}

TEST_F(TrovixHTTPClientTest, GeneralRequestsFailAsDocumented) {
  const std::pair<Answer, const char*> rows[] = {
      {{.body = "<html>"}, "example.trovix.sdk.serialize 61 <html>"},
      {{.body = "\xff"}, "NSCocoaErrorDomain 3840 "},
      {{.body = std::string(100'000, '[')}, "example.trovix.sdk.serialize 61 [[["},
      {Answer::failure(-1005), "example.trovix.sdk.network 0 Request failed"}};
  for (const auto& [answer, expected] : rows) {
    device.network.answer("api", answer);
    const Error got = request("https://api.test/", {.retries = 2, .isReturnJSON = true}).error.value();
    EXPECT_THAT(fmt::format("{} {} {}", got.domain(), got.code(), got.localizedDescription()), StartsWith(expected));
  }
  EXPECT_EQ(request("::", {}).information, (Dictionary{{"taskIdentifier", 0}}));
}

TEST_F(TrovixHTTPClientTest, AReleasedClientTriesNoMore) {
  device.network.answer("api", Answer{.status = 500});
  client->requestWithURL([] { return "https://api.test/"; }, nullptr, {.retries = 5},
                         [](auto&&...) { FAIL() << "called back"; });
  client.reset();
  device.runUntilIdle();
  EXPECT_EQ(device.network.requests.size(), 1u);
}

TEST_F(TrovixHTTPClientTest, UploadsGoOnInTheBackground) {
  device.facts.version = "9.3";
  device.network.answerOnce("stats", {.status = 500});
  for (const bool isCutShort : {false, true}) {
    client->sendRequestWithConfiguration("https://stats.test/", "text");
    EXPECT_EQ(device.backgroundTasks.active.size(), 1u);
    device.runUntilIdle();
    device.backgroundTasks.expire();
    device.network.hold("stats");
    EXPECT_THAT(device.backgroundTasks.active, IsEmpty()) << isCutShort;
  }
  EXPECT_THAT(device.network.backgroundIdentifiers, IsEmpty());
  device.facts.version = "17.2";
  for (int i = 0; i < 2; ++i) client->sendRequestWithConfiguration("https://stats.test/", "text");
  EXPECT_THAT(device.network.backgroundIdentifiers, ElementsAre("example.trovix"));
  EXPECT_EQ(device.network.requests.at(0).session, SessionKind::shared);
  EXPECT_EQ(device.network.requests.at(2).session, SessionKind::background);
}

}  // namespace
}  // namespace trovix::test
