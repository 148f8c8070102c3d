#include "collector/Scenario.h"

#include "collector/Kinds.h"
#include "platform/Json.h"
#include "support/Testing.h"

namespace trovix::collector {

TEST(CollectorKinds, AreToldByHostAndPath) {
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      {"POST", "launches.example.test", "/api/v6.2/iosevent", "Launches", "example.test"},
      {"POST", "p-conversions.a.b.test", "/api/v6.2/iosevent", "Conversions", "a.b.test"},
      {"POST", "launches-attr.example.test", "/api/v6.2/iosevent", "Attr", "example.test"},
      {"POST", "stats.inapps.example.test", "/api/v6.2/iosevent", "InApps", "example.test"},
      {"POST", "adrevenue.example.test", "/api/v6.2/ios", "AdRevenue", "example.test"},
      {"GET", "gcdsdk.example.test", "/install_data/v4.0/id123", "GCD", "example.test"},
      {"POST", "monitorsdk.example.test", "/remote-debug", "RemoteDebug", "example.test"},
      {"POST", "validate.example.test", "/api/v6.2/iosevent", "ReceiptValidationInApp", "example.test"},
      {"POST", "sdk-services.example.test", "/validate-ios-receipt-server", "ReceiptValidation", "example.test"},
      {"POST", "register.example.test", "/api/v6.2/iosevent", "Uninstall", "example.test"},
      {"POST", "stats.example.test", "/stats", "Stats", "example.test"},
      {"GET", "impression.example.test", "/id77", "Impression", "example.test"},
      {"GET", "veyra.example.test", "/shortlink-sdk/v1/a", "VeyraGet", "example.test"},
      {"POST", "veyra.example.test", "/shortlink-sdk/v1/a", "VeyraCreate", "example.test"},
      {"POST", "dlsdk.example.test", "/v1.0/ios/id123", "DDL", "example.test"},
      {"GET", "skadsdk.example.test", "/api/v1.0/rules", "SKRules", "example.test"},
      {"GET", "skadsdkless.example.test", "/api/v1.0/conversion-value", "SKConversionValue", "example.test"},
      {"GET", "launches.example.test", "/elsewhere", "Other", "launches.example.test"},
      {"GET", "stats", "/stats", "Other", "stats"}};
  for (const auto& [method, host, path, kind, domain] : cases) {
    const Destination found = destinationOf(method, host, path);
    EXPECT_STREQ(found.kind, kind) << host << path;
    EXPECT_EQ(found.domain, domain) << host;
  }
}

struct CollectorScenarioTest : testing::Test {
  void set(const char* key, const char* json) {
    const auto answers = platform::parseJson(std::string_view(json));
    ASSERT_TRUE(answers);
    ASSERT_TRUE(scenario.set(key, *answers->array())) << json;
  }

  // The next statuses, 0 where a healthy answer is due.
  std::vector<int> statuses(const char* host, const char* kind, int count) {
    std::vector<int> found;
    for (int i = 0; i < count; ++i) {
      const auto answer = scenario.next(host, kind);
      found.push_back(answer ? answer->reply.status : 0);
    }
    return found;
  }

  Scenario scenario;
};

TEST_F(CollectorScenarioTest, UsesTheMostParticularListInOrder) {
  set("GCD", R"([{"status": 500, "times": 2}, {"status": 404}])");
  set("host:a.test", R"([{"status": 403}])");
  set("*", R"([{"redirect": "https://b.test"}])");
  EXPECT_EQ(statuses("a.test", "GCD", 6), (std::vector<int>{403, 500, 500, 404, 302, 0}));
  set("GCD", R"([{"status": 429}, {"status": 503, "forever": true}])");
  EXPECT_THAT(statuses("b.test", "Stats", 1), ElementsAre(0));
  EXPECT_THAT(statuses("b.test", "GCD", 4), ElementsAre(429, 503, 503, 503));
  set("GCD", "[]");
  EXPECT_THAT(statuses("b.test", "GCD", 1), ElementsAre(0));
}

TEST_F(CollectorScenarioTest, KeepsHandshakesApartFromRequests) {
  set("SKRules", R"([{"tls": "expired"}, {"status": 500}, {"tls": "wrongHost", "times": 2}])");
  EXPECT_EQ(statuses("skadsdk.x.test", "SKRules", 2), (std::vector<int>{500, 0}));
  using enum CertificateFault;
  EXPECT_EQ(scenario.nextCertificate("gcdsdk.x.test"), none);
  for (const auto fault : {expired, wrongHost, wrongHost, none}) {
    EXPECT_EQ(scenario.nextCertificate("skadsdk.x.test"), fault);
  }
}

TEST_F(CollectorScenarioTest, RefusesWhatItCannotMean) {
  set("GCD", R"([{"status": 418}])");
  for (const char* json :
       {R"([1])", R"([{"stauts": 500}])", R"([{"status": 99}])", R"([{"status": true}])", R"([{"times": 0}])",
        R"([{"forever": 1}])", R"([{"delay": -1}])", R"([{"drip": 0}])", R"([{"close": "sometime"}])",
        R"([{"reset": {"before": 3}}])", R"([{"tls": "old"}])", R"([{"bodyBase64": "a"}])", R"([{"bodySize": "big"}])",
        R"([{"headers": {"X-A": "a\r\nX-B: b"}}])", R"([{"redirect": 5}])"})
    EXPECT_FALSE(scenario.set("GCD", *platform::parseJson(std::string_view(json))->array())) << json;
  EXPECT_FALSE(scenario.set("Lunches", {}));
  EXPECT_FALSE(scenario.set("host:", {}));
  EXPECT_EQ(statuses("a.test", "GCD", 1), (std::vector<int>{418}));
}

}  // namespace trovix::collector
