#include "collector/Collector.h"

#include "linux/Loader.h"
#include "linux/TemporaryDirectory.h"
#include "platform/Json.h"

namespace trovix::collector {
namespace {

using platform::Loader;
using platform::to;

Array answers(const char* json) { return *platform::parseJson(std::string_view(json))->array(); }

/// A POST of a body of that type.
platform::URLRequest post(const std::string& url, const std::string& body, const std::string& type) {
  auto request = to(url, "POST", body);
  request.headers.set("Content-Type", type);
  return request;
}

TEST(CollectorServer, OpensJudgesAndRecordsRequests) {
  Collector collector({.devKey = "kVx2pQ9sLmN4"});
  ASSERT_TRUE(collector.start());
  Loader loader(collector);
  const std::string event = fromHex(
      "460fc25ffaef7764e63f7025050871bcce34432abaeb2faadc47431378427d218dc4bf1da4fe40af1915f289f8d3f102c1d0084b0bc49b1a"
      "6974c5929e980bf663e7c8c92ff18cfa9534ef314dbbcb4c0b4de671fc63f599f58e555772062cb0af7148273a966b14fa6ccae3d7ae2514"
      "c2175ff57c55cc2b35cc40e4fbb3365b653fb2d522926ec38875f06be71fe2f9f95611d54b375dc466b7100d2db7726f0001020304050607"
      "08090a0b0c0d0e0f0000000000000000");
  const std::string url = "https://eu-launches.example.test/api/v6.2/iosevent?app_id=id%201&buildnumber=6.2.2";
  EXPECT_THAT(bodyOf(loader(post(url, event, "application/octet-stream"))), HasSubstr(R"("vy_ver":"1")"));
  ASSERT_TRUE(collector.waitForRequests("Launches", 1, std::chrono::seconds(10)));
  const Dictionary record = collector.requestsOfKind("Launches").at(0);
  EXPECT_EQ(*record.string("url"), url);
  EXPECT_EQ(*record.dictionary("query"), (Dictionary{{"app_id", "id 1"}, {"buildnumber", "6.2.2"}}));
  EXPECT_EQ(*record.dictionary("headers")->string("Content-Type"), "application/octet-stream");
  EXPECT_EQ(*record.dictionary("parameters")->string("uid"), "1612345678901-1234567");
  EXPECT_EQ(*record.dictionary("checks")->find("decrypted"), Value(true));
  EXPECT_EQ(*record.dictionary("checks")->find("checksum"), Value(true));
  EXPECT_EQ(*record.dictionary("checks")->dictionary("flags")->find("development"), Value(true));

  loader(post(url, "\xff", "application/octet-stream"));
  EXPECT_EQ(*collector.requests().back().dictionary("checks"), (Dictionary{{"decrypted", false}}));
  loader(post("https://monitorsdk.example.test/remote-debug?app_id=1", "plain words", "application/text"));
  EXPECT_EQ(*collector.requests().back().string("parameters"), "plain words");
  EXPECT_FALSE(collector.waitForRequests("*", 4, std::chrono::seconds(0)));
}

TEST(CollectorServer, AnswersLikeHealthyServers) {
  Collector collector({});
  ASSERT_TRUE(collector.start());
  Loader loader(collector);
  const auto created = loader(
      post("https://veyra.example.test/shortlink-sdk/v1/abc", R"({"brand_domain":"go.test"})", "application/json"));
  EXPECT_THAT(bodyOf(created), StartsWith("https://go.test/abc/"));
  Collector plain({.plain = true});
  ASSERT_TRUE(plain.start());
  EXPECT_EQ(codeOf(loader(to("http://" + plain.address() + "/"))), 200);
}

TEST(CollectorServer, MisbehavesAsTheScenarioSays) {
  constexpr auto lost = platform::urlError::networkConnectionLost;
  // The answer, the status or failure that a client sees, and the bytes that it is given.
  const std::tuple<const char*, std::int64_t, std::size_t> cases[] = {
      {R"([{"status": 503, "body": {"a": [1, null]}, "delay": 0.01}])", 503, 14},
      {R"([{"bodyBase64": "AAEC/w=="}])", 200, 4},
      {R"([{"bodySize": 8000000}])", 200, 8000000},
      {R"([{"bodySize": 40, "drip": 4000}])", 200, 40},
      {R"([{"body": "until the end", "headers": {"Content-Length": null}}])", 200, 13},
      {R"([{"body": "half", "headers": {"content-length": "9"}, "close": {"after": 999}}])", lost, 0},
      {R"([{"reset": "beforeHeaders"}])", lost, 0}};
  Collector collector({});
  ASSERT_TRUE(collector.start());
  for (const auto& [answer, code, received] : cases) {
    ASSERT_TRUE(collector.setScenario("GCD", answers(answer)));
    // A connection of its own: a client repeats a request whose kept connection dies without an answer.
    const auto result = Loader(collector)(to("https://gcdsdk.example.test/install_data/v4.0/id1"));
    EXPECT_EQ(codeOf(result), code) << answer;
    EXPECT_EQ(result.data.size(), received) << answer;
  }
}

TEST(CollectorServer, KeepsItsAuthorityAndPort) {
  const platform::TemporaryDirectory directory;
  Collector first({.tlsDirectory = directory.path()});
  ASSERT_TRUE(first.start());
  EXPECT_EQ(std::filesystem::status(directory / "ca-key.pem").permissions(), std::filesystem::perms(0600));
  Loader loader(first);
  const auto request = to("https://a.example.test/");
  first.stop();
  EXPECT_EQ(codeOf(loader(request)), platform::urlError::cannotConnectToHost);

  // Another collector that takes the address over is the same server to its clients.
  Collector second({.listen = first.address(), .tlsDirectory = directory.path()});
  ASSERT_TRUE(second.start());
  EXPECT_EQ(codeOf(loader(request)), 200);
  EXPECT_FALSE(first.start());
  second.stop();
  ASSERT_TRUE(first.start());
  EXPECT_EQ(codeOf(loader(request)), 200);
  EXPECT_FALSE(Collector({.listen = "nowhere"}).start());
  EXPECT_FALSE(Collector({.scenario = {{"Lunches", Array{}}}}).start());
}

TEST(CollectorServer, StopsWhileAnAnswerWaits) {
  Collector collector({.scenario = {{"*", answers(R"([{"delay": 3600}])")}}});
  ASSERT_TRUE(collector.start());
  Loader loader(collector);
  auto code = std::async(std::launch::async, [&] { return codeOf(loader(to("https://a.example.test/"))); });
  ASSERT_TRUE(collector.waitForRequests("Other", 1, std::chrono::seconds(10)));
  collector.stop();
  EXPECT_EQ(code.get(), platform::urlError::networkConnectionLost);
}

}  // namespace
}  // namespace trovix::collector
