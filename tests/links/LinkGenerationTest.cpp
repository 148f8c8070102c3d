#include "core/TrovixLibParts.h"
#include "support/LogCapture.h"
#include "trovix/TrovixCrossPromotionHelper.h"
#include "trovix/TrovixLib.h"
#include "trovix/TrovixShareInviteHelper.h"

namespace trovix::test {

constexpr auto generatorOf = &TrovixLinkGenerator::initWithMeidaSource;

struct LinkGenerationTest : testing::Test {
  LinkGenerationTest() {
    device.network.defaultAnswer = {};
    sdk.setTrovixDevKey("kVx2pQ9sLmN4");
    sdk.setAppleAppID(Value("1234567890"));
    sdk.setDisableSKAdNetwork(true);
    device.runUntilIdle();
  }

  SimulatedDevice device;
  TrovixLib sdk{device};
};

TEST_F(LinkGenerationTest, WritesEveryFieldUnderItsKey) {
  TrovixLinkGenerator generator = generatorOf("src");
  EXPECT_EQ(generator.generateLink(), "https://app.trovix.example?pid=src");
  EXPECT_EQ(generatorOf(std::nullopt).generateLink(), "https://app.trovix.example");

  generator.setChannel("a b&c");
  generator.setCampaign("summer");
  generator.setReferrerUID("uid");
  generator.setReferrerCustomerId("id");
  generator.setReferrerName("Ada");
  generator.setReferrerImageURL("https://i/?x");
  generator.setDeeplinkPath("path");
  EXPECT_EQ(generator.generateLink(),
            "https://app.trovix.example?pid=src&tx_channel=a%20b%26c&c=summer&tx_referrer_uid=uid&"
            "tx_referrer_customer_id=id&tx_referrer_name=Ada&tx_referrer_image_url=https%3A%2F%2Fi%2F%3Fx");

  generator = generatorOf("src");
  generator.setBaseDeeplink("shop://");
  generator.setBaseURL("https://base.test");
  generator.setAppleAppID("42");
  EXPECT_EQ(generator.generateLink(), "https://base.test/id42?pid=src&tx_dp=shop%3A%2F%2F");
  generator.setDeeplinkPath("open");
  generator.setAppleAppID(std::nullopt);
  generator.addParameters({{"pid", "custom"}, {"n", 5}});
  generator.addSiteId("site");
  EXPECT_EQ(generator.generateLink(), "https://base.test/id42?pid=custom&tx_dp=shop%3A%2F%2Fopen&&tx_siteid=site");
  generator = generatorOf(std::nullopt);
  generator.setBrandDomain("go.brand.test");
  EXPECT_EQ(generator.generateLink(), "https://app.trovix.example") << "no template";
  sdk.setAppInviteVeyra("tmpl");
  EXPECT_EQ(generator.generateLink(), "https://go.brand.test/tmpl");
  EXPECT_EQ(TrovixLinkGenerator::encodeValue("a b/c?d=[1]:%\u00e9"), "a%20b%2Fc%3Fd=[1]:%25%C3%A9");
}

TEST_F(LinkGenerationTest, AnswersAtOnceWhenNoShortLinkCanBeAskedFor) {
  const auto expectAtOnce = [](const std::optional<std::string>& id) {
    std::string link;
    generatorOf("src").generateVeyraWithCompletionHandler([&link](const std::string& URL) { link = URL; });
    EXPECT_EQ(link, "https://app.trovix.example?pid=src") << id.value_or("none");
  };
  for (const auto& id : {std::optional<std::string>(), {""}, {"no address"}}) {
    sdk.setAppInviteVeyra(id);
    expectAtOnce(id);
  }
  SimulatedDevice other;
  TrovixLib keyless(other);
  keyless.setAppInviteVeyra("tmpl");
  expectAtOnce("tmpl");
  EXPECT_THAT(other.network.requests, IsEmpty());
  EXPECT_THAT(device.network.requests, IsEmpty());
}

TEST_F(LinkGenerationTest, AsksTheServiceForAShortLink) {
  device.setNow(1614864612);
  sdk.setAppInviteVeyra("tmpl");
  TrovixLinkGenerator generator = generatorOf("src");
  generator.setAppleAppID("42");
  generator.setBrandDomain("go.brand.test");
  generator.addParameters({{"pid", "custom"}, {"n", 5}});
  generator.generateVeyraWithTTL(600, {});
  device.runUntilIdle();
  const RecordedRequest& sent = device.network.requests.at(0);
  EXPECT_EQ(sent.url(), "https://veyra.trovix.example/shortlink-sdk/v1/tmpl");
  EXPECT_EQ(sent.request.method, "POST");
  EXPECT_EQ(*sent.request.headers.find("authorization"), "7b99937f4f9ef17786532f1bb8cf6821a6cbdd87");
  EXPECT_EQ(sent.body(), R"({"ttl":"600","data":{"id":"42","pid":"custom","n":5},"brand_domain":"go.brand.test"})");
}

TEST_F(LinkGenerationTest, FallsBackToTheLongLink) {
  const std::string longLink = "https://app.trovix.example?pid=src";
  const std::pair<Answer, std::string> cases[] = {
      {{.body = "https://vy.example/t/x", .mimeType = "text/plain"}, "https://vy.example/t/x"},
      {{.body = "shop://open"}, "shop://open"},
      {{.body = "no link"}, longLink},
      {{.body = "mailto:a@b"}, longLink},
      {{.body = ""}, longLink},
      {{.body = "https://h/\xff"}, longLink},
      {{.status = 403, .body = "https://h/"}, longLink},
      {Answer::failure(platform::urlError::timedOut), longLink}};
  sdk.setAppInviteVeyra("tmpl");
  for (const auto& [answer, expected] : cases) {
    device.network.answer("/shortlink-sdk/", answer);
    std::vector<std::string> links;
    generatorOf("src").generateVeyraWithCompletionHandler([&](const std::string& URL) { links.push_back(URL); });
    device.runUntilIdle();
    EXPECT_THAT(links, ElementsAre(expected)) << answer.body;
  }
}

TEST_F(LinkGenerationTest, PreparesInvitations) {
  using Text = std::optional<std::string>;
  const std::tuple<Text, Text, Text, Text, std::string> cases[] = {
      {{}, {}, {}, {}, "https://app.trovix.example/id1234567890?pid=m&tx_referrer_uid=UID&"},
      {"t", {}, {}, "me", "https://vy.trovix.example/t?pid=m&tx_referrer_uid=UID&tx_referrer_customer_id=me&"},
      {"t", "a.b", "abc", {}, "https://vy.trovix.example/t?pid=m&tx_referrer_uid=UID&"},
      {"t", "a.bc", "shop", {}, "https://a.bc/t?pid=m&tx_referrer_uid=UID&tx_dp=shop&"}};
  for (const auto& [id, domain, scheme, customer, link] : cases) {
    sdk.setAppInviteVeyra(id);
    sdk.setCustomerUserID(customer);
    if (domain) sdk.parts().storage->setString(*domain, "veyraDomain");
    if (scheme) sdk.parts().storage->setString(*scheme, "veyraScheme");
    std::string expected = link + "tx_siteid=1234567890";
    expected.replace(expected.find("UID"), 3, sdk.getTrovixUID());
    EXPECT_EQ(TrovixShareInviteHelper::createLink("m").generateLink(), expected);
  }
}

TEST_F(LinkGenerationTest, MakesAndRecordsInvitations) {
  const LogCapture log(device);
  std::string link;
  const auto addCampaign = [](TrovixLinkGenerator generator) {
    generator.setCampaign("friends");
    return generator;
  };
  TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator(addCampaign, [&](const std::string& URL) { link = URL; });
  EXPECT_THAT(link, HasSubstr("?pid=tx_app_invites&c=friends&"));
  sdk.start();
  TrovixShareInviteHelper::logInvite("mail", Dictionary{{"to", "Ada"}});
  device.advance(1);
  EXPECT_TRUE(log.has(R"("tx_invite")"));
  EXPECT_TRUE(log.has("%22to%22:%22Ada%22%2C%22tx_channel%22:%22mail%22"));
}

TEST_F(LinkGenerationTest, PromotesAnotherApplication) {
  sdk.start();
  device.runUntilIdle();
  device.runUntilIdle();
  const LogCapture log(device);
  std::string link;
  TrovixCrossPromotionHelper::logAndOpenStore("42", "cross", Dictionary{{"pid", "own"}},
                                              [&](const auto& session, const std::string& URL) {
                                                EXPECT_NE(session, nullptr);
                                                link = URL;
                                              });
  EXPECT_EQ(link, "https://app.trovix.example/id42?pid=own&c=cross&tx_siteid=1234567890&idfa=" +
                      *device.frameworks.identifiers.identifier + "&idfv=" + *device.facts.vendorIdentifier);
  device.advance(1);
  EXPECT_TRUE(log.has(R"("tx_cross_promotion_clicked")"));
  EXPECT_TRUE(log.has("%22pid%22:%22own%22%2C%22tx_campaign%22:%22cross%22"));

  device.network.answer("impression", Answer::failure(platform::urlError::cannotFindHost));
  TrovixCrossPromotionHelper::logCrossPromoteImpression("42", std::nullopt, std::nullopt);
  device.runUntilIdle();
  const auto sent = device.network.requestsTo("https://impression.trovix.example/id42?pid=tx_cross_promotion&");
  EXPECT_THAT(sent, SizeIs(1));
}

}  // namespace trovix::test
