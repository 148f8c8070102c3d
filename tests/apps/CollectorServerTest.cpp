#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "apps/collector/Collector.h"
#include "platform/Json.h"
#include "tests/apps/CollectorSupport.h"

namespace trovix::collector {
namespace {

using std::chrono_literals::operator""s;

struct Outcome {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string body;
};

// A client that keeps its connections, as the library's does.
class Client {
 public:
  explicit Client(const Collector& collector)
      : handle_(curl_easy_init()),
        target_(curl_slist_append(nullptr, ("::" + collector.address()).c_str())),
        caFile_(collector.caFile()) {}
  ~Client() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(target_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  Outcome send(const std::string& url, const std::string* body = nullptr, const char* type = "application/json") {
    Outcome outcome;
    curl_easy_reset(handle_);
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_PROXY, "");
    curl_easy_setopt(handle_, CURLOPT_CONNECT_TO, target_);
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    if (!caFile_.empty()) curl_easy_setopt(handle_, CURLOPT_CAINFO, caFile_.c_str());
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &outcome.body);
    curl_easy_setopt(
        handle_, CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t size, std::size_t count, std::string* text) {
          text->append(bytes, size * count);
          return size * count;
        });
    curl_slist* headers = nullptr;
    if (body != nullptr) {
      headers = curl_slist_append(nullptr, (std::string("Content-Type: ") + type).c_str());
      curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers);
      curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body->data());
      curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    }
    outcome.code = curl_easy_perform(handle_);
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &outcome.status);
    curl_slist_free_all(headers);
    return outcome;
  }

 private:
  CURL* handle_;
  curl_slist* target_;
  std::string caFile_;
};

Array answers(const char* json) { return *platform::parseJson(std::string_view(json))->array(); }

TEST(CollectorServer, OpensJudgesAndRecordsRequests) {
  Collector collector({.devKey = testKey});
  ASSERT_TRUE(collector.start());
  Client client(collector);
  const std::string event = bytesFromHex(
      "460fc25ffaef7764e63f7025050871bcce34432abaeb2faadc47431378427d218dc4bf1da4fe40af1915f289f8d3f102c1d0084b0bc49b1a"
      "6974c5929e980bf663e7c8c92ff18cfa9534ef314dbbcb4c0b4de671fc63f599f58e555772062cb0af7148273a966b14fa6ccae3d7ae2514"
      "c2175ff57c55cc2b35cc40e4fbb3365b653fb2d522926ec38875f06be71fe2f9f95611d54b375dc466b7100d2db7726f0001020304050607"
      "08090a0b0c0d0e0f0000000000000000");
  const std::string url = "https://eu-launches.example.test/api/v6.2/iosevent?app_id=id%201&buildnumber=6.2.2";
  const Outcome outcome = client.send(url, &event, "application/octet-stream");
  EXPECT_EQ(outcome.status, 200) << curl_easy_strerror(outcome.code);
  EXPECT_EQ(outcome.body, R"({"vy_domain":"vy.example.test","vy_ver":"1"})");

  ASSERT_TRUE(collector.waitForRequests("Launches", 1, 10s));
  const Dictionary record = collector.requestsOfKind("Launches").at(0);
  EXPECT_EQ(*record.string("url"), url);
  EXPECT_EQ(*record.string("host"), "eu-launches.example.test");
  EXPECT_EQ(*record.dictionary("query"), (Dictionary{{"app_id", "id 1"}, {"buildnumber", "6.2.2"}}));
  EXPECT_EQ(*record.dictionary("headers")->string("Content-Type"), "application/octet-stream");
  EXPECT_EQ(*record.dictionary("parameters")->string("uid"), "1612345678901-1234567");
  EXPECT_EQ(*record.dictionary("checks"), (Dictionary{{"decrypted", true},
                                                      {"checksum", true},
                                                      {"flags", Dictionary{{"simulator", false},
                                                                           {"development", true},
                                                                           {"integrity", false},
                                                                           {"counterValid", true},
                                                                           {"debugger", false}}}}));

  const std::string marker = "\xff";
  client.send(url, &marker, "application/octet-stream");
  EXPECT_EQ(*collector.requests().back().dictionary("checks"), (Dictionary{{"decrypted", false}}));
  const std::string text = "plain words";
  client.send("https://monitorsdk.example.test/remote-debug?app_id=1", &text, "application/text");
  EXPECT_EQ(*collector.requests().back().string("parameters"), text);
  EXPECT_FALSE(collector.waitForRequests("*", 4, 0s));
}

TEST(CollectorServer, AnswersLikeHealthyServers) {
  struct Case {
    const char* url;
    const char* body;
    const char* expected;
  };
  const std::vector<Case> cases{
      {"http://gcdsdk.example.test/install_data/v4.0/id1", nullptr, R"("tx_status":"Non-organic")"},
      {"http://sdk-services.example.test/validate-ios-receipt-server?tran_id=T-1", "{}", R"("transaction_id":"T-1")"},
      {"http://veyra.example.test/shortlink-sdk/v1/abc", R"({"brand_domain":"go.shop.test"})",
       "https://go.shop.test/abc/"},
      {"http://veyra.example.test/shortlink-sdk/v1/abc", "{}", "https://vy.example.test/abc/"},
      {"http://skadsdk.example.test/api/v1.0/rules", nullptr, R"({"sk_rules":{)"},
      {"http://dlsdk.example.test/v1.0/ios/id1", "{}", R"("found":true)"},
  };
  Collector collector({.plain = true});
  ASSERT_TRUE(collector.start());
  Client client(collector);
  for (const auto& [url, body, expected] : cases) {
    const std::string text = body != nullptr ? body : "";
    const Outcome outcome = client.send(url, body != nullptr ? &text : nullptr);
    EXPECT_EQ(outcome.status, 200) << url;
    EXPECT_THAT(outcome.body, testing::HasSubstr(expected)) << url;
  }
}

TEST(CollectorServer, MisbehavesAsTheScenarioSays) {
  struct Case {
    const char* answer;
    CURLcode code;
    std::size_t received;  // bytes of body
  };
  const std::vector<Case> cases{
      {R"([{"status": 503, "body": "busy"}])", CURLE_OK, 4},
      {R"([{"body": {"a": [1, null]}, "delay": 0.01}])", CURLE_OK, 14},
      {R"([{"bodyBase64": "AAEC/w=="}])", CURLE_OK, 4},
      {R"([{"bodySize": 9000000}])", CURLE_OK, 9000000},
      {R"([{"bodySize": 40, "drip": 4000}])", CURLE_OK, 40},
      {R"([{"body": "until the end", "headers": {"Content-Length": null}}])", CURLE_OK, 13},
      {R"([{"body": "half", "headers": {"content-length": "9"}, "close": {"after": 999}}])", CURLE_PARTIAL_FILE, 4},
      {R"([{"raw": "SSH-2.0-strange\r\n"}])", CURLE_UNSUPPORTED_PROTOCOL, 0},
      {R"([{"close": "beforeHeaders"}])", CURLE_GOT_NOTHING, 0},
      {R"([{"reset": "beforeHeaders"}])", CURLE_RECV_ERROR, 0},
      {R"([{"bodySize": 100000, "reset": {"after": 50000}}])", CURLE_RECV_ERROR, 0},
  };
  Collector collector({.plain = true});
  ASSERT_TRUE(collector.start());
  for (const auto& [answer, code, received] : cases) {
    ASSERT_TRUE(collector.setScenario("GCD", answers(answer)));
    // A connection of its own: a client repeats a request whose kept connection dies without an answer.
    Client client(collector);
    const Outcome outcome = client.send("http://gcdsdk.example.test/install_data/v4.0/id1");
    EXPECT_EQ(outcome.code, code) << answer << curl_easy_strerror(outcome.code);
    if (received > 0) {
      EXPECT_EQ(outcome.body.size(), received) << answer;
    }
  }
}

TEST(CollectorServer, ShowsFaultyCertificates) {
  Collector collector({});
  ASSERT_TRUE(collector.start());
  for (const char* fault : {"expired", "wrongHost", "unknownAuthority"}) {
    const std::string scenario = std::string(R"([{"tls": ")") + fault + "\"}]";
    ASSERT_TRUE(collector.setScenario("GCD", answers(scenario.c_str())));
    Client client(collector);
    const char* url = "https://gcdsdk.example.test/install_data/v4.0/id1";
    EXPECT_EQ(client.send(url).code, CURLE_PEER_FAILED_VERIFICATION) << fault;
    EXPECT_EQ(client.send("https://other.example.test/").code, CURLE_OK) << fault;
    EXPECT_EQ(client.send(url).code, CURLE_OK) << fault;
  }
  EXPECT_EQ(collector.requests().size(), 6U);
}

TEST(CollectorServer, KeepsItsAuthorityAndPort) {
  const std::string directory = testing::TempDir() + "/collector-authority";
  Collector first({.tlsDirectory = directory});
  ASSERT_TRUE(first.start());
  struct stat status {};
  ASSERT_EQ(::stat((directory + "/ca-key.pem").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  Client client(first);
  first.stop();
  EXPECT_NE(client.send("https://a.example.test/").code, CURLE_OK);

  // Another collector that takes the address over is the same server to its clients.
  Collector second({.listen = first.address(), .tlsDirectory = directory});
  ASSERT_TRUE(second.start());
  EXPECT_EQ(client.send("https://a.example.test/").code, CURLE_OK);
  EXPECT_FALSE(first.start());
  second.stop();
  ASSERT_TRUE(first.start());
  EXPECT_EQ(client.send("https://a.example.test/").code, CURLE_OK);
  EXPECT_FALSE(Collector({.listen = "nowhere"}).start());
  EXPECT_FALSE(Collector({.scenario = {{"Lunches", Array{}}}}).start());
}

TEST(CollectorServer, StopsWhileAnAnswerWaits) {
  Collector collector({.scenario = {{"*", answers(R"([{"delay": 3600}])")}}});
  ASSERT_TRUE(collector.start());
  Client client(collector);
  auto outcome = std::async(std::launch::async, [&] { return client.send("https://a.example.test/").code; });
  ASSERT_TRUE(collector.waitForRequests("Other", 1, 10s));
  collector.stop();
  EXPECT_NE(outcome.get(), CURLE_OK);
}

}  // namespace
}  // namespace trovix::collector
