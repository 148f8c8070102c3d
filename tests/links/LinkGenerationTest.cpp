#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/TrovixLibParts.h"
#include "platform/Json.h"
#include "support/LogCapture.h"
#include "support/SimulatedDevice.h"
#include "trovix/TrovixCrossPromotionHelper.h"
#include "trovix/TrovixLib.h"
#include "trovix/TrovixShareInviteHelper.h"

namespace trovix::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TrovixLinkGenerator generatorOf(const std::optional<std::string>& mediaSource) {
  return TrovixLinkGenerator::initWithMeidaSource(mediaSource);
}

class LinkGenerationTest : public testing::Test {
 protected:
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

  const LogCapture log(device);
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
  EXPECT_TRUE(log.has("channel:           a b&c"));
  EXPECT_TRUE(log.has("referrerCustomerId: id"));

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
  EXPECT_TRUE(log.has("Key `n` ignored. Unsupported format."));
  EXPECT_EQ(TrovixLinkGenerator::encodeValue("a b/c?d=[1]:%\u00e9"), "a%20b%2Fc%3Fd=[1]:%25%C3%A9");
}

TEST_F(LinkGenerationTest, BrandsALinkThatHasATemplate) {
  TrovixLinkGenerator generator = generatorOf(std::nullopt);
  generator.setBrandDomain("go.brand.test");
  generator.setBaseURL("https://base.test");
  EXPECT_EQ(generator.generateLink(), "https://base.test") << "no template";
  sdk.setAppInviteVeyra("tmpl");
  EXPECT_EQ(generator.generateLink(), "https://go.brand.test/tmpl");
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
  ASSERT_THAT(device.network.requests, SizeIs(1));
  const platform::URLRequest& request = device.network.requests[0].request;
  EXPECT_EQ(request.url, "https://veyra.trovix.example/shortlink-sdk/v1/tmpl");
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(*request.headers.find("authorization"), "7b99937f4f9ef17786532f1bb8cf6821a6cbdd87");
  EXPECT_EQ(device.network.requests[0].body(),
            R"({"ttl":"600","data":{"id":"42","pid":"custom","n":5},"brand_domain":"go.brand.test"})");
}

TEST_F(LinkGenerationTest, FallsBackToTheLongLink) {
  const std::string longLink = "https://app.trovix.example?pid=src";
  const std::pair<Answer, std::string> cases[] = {
      {{.body = "https://vy.trovix.example/tmpl/x"}, "https://vy.trovix.example/tmpl/x"},
      {{.body = "shop://open"}, "shop://open"},
      {{.body = "no link"}, longLink},
      {{.body = "mailto:a@b"}, longLink},
      {{.body = ""}, longLink},
      {{.body = "https://h/\xff"}, longLink},
      {{.status = 403, .body = "https://h/"}, longLink},
      {Answer::failure(platform::urlError::timedOut), longLink},
  };
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
  const std::string uid = sdk.getTrovixUID();
  const struct {
    const char* name;
    std::optional<std::string> id, domain, scheme, customer;
    std::string link;
  } cases[] = {
      {"store", {}, {}, {}, {}, "https://app.trovix.example/id1234567890?pid=m&tx_referrer_uid=UID&"},
      {"template",
       "t",
       {},
       {},
       "me",
       "https://vy.trovix.example/t?pid=m&tx_referrer_uid=UID&tx_referrer_customer_id=me&"},
      {"short domain", "t", "a.b", "abc", {}, "https://vy.trovix.example/t?pid=m&tx_referrer_uid=UID&"},
      {"stored", "t", "a.bc", "shop", {}, "https://a.bc/t?pid=m&tx_referrer_uid=UID&tx_dp=shop&"},
  };
  for (const auto& each : cases) {
    sdk.setAppInviteVeyra(each.id);
    sdk.setCustomerUserID(each.customer);
    if (each.domain) sdk.parts().storage->setString(*each.domain, "veyraDomain");
    if (each.scheme) sdk.parts().storage->setString(*each.scheme, "veyraScheme");
    std::string expected = each.link + "tx_siteid=1234567890";
    expected.replace(expected.find("UID"), 3, uid);
    EXPECT_EQ(TrovixShareInviteHelper::createLink("m").generateLink(), expected) << each.name;
  }
}

TEST_F(LinkGenerationTest, MakesAndRecordsInvitations) {
  const LogCapture log(device);
  std::vector<std::string> links;
  TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator(
      [](TrovixLinkGenerator generator) {
        generator.setCampaign("friends");
        return generator;
      },
      [&links](const std::string& URL) { links.push_back(URL); });
  ASSERT_THAT(links, SizeIs(1));
  EXPECT_THAT(links[0], HasSubstr("?pid=tx_app_invites&c=friends&"));

  sdk.start();
  device.runUntilIdle();
  TrovixShareInviteHelper::logInvite("mail", Dictionary{{"to", "Ada"}});
  device.advance(1);
  EXPECT_THAT(device.network.requestsTo("inapps"), SizeIs(1));
  EXPECT_TRUE(log.has(R"("tx_invite")"));
  EXPECT_TRUE(log.has("%22to%22:%22Ada%22%2C%22tx_channel%22:%22mail%22"));
}

TEST_F(LinkGenerationTest, PromotesAnotherApplication) {
  sdk.start();
  device.runUntilIdle();
  const LogCapture log(device);
  std::string link;
  TrovixCrossPromotionHelper::logAndOpenStore(
      "42", "cross", Dictionary{{"pid", "own"}},
      [&](const std::shared_ptr<platform::URLSession>& session, const std::string& URL) {
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
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(sent[0].request.method, "GET");
  EXPECT_EQ(sent[0].session, SessionKind::ownSession);
  EXPECT_TRUE(log.has("logCrossPromoteImpression failed! Error - "));

  sdk.setIsStopped(true);
  TrovixCrossPromotionHelper::logCrossPromoteImpression("42", std::nullopt, std::nullopt);
  device.runUntilIdle();
  EXPECT_TRUE(log.has("Cannot log impression: SDK stopped"));
  EXPECT_THAT(device.network.requestsTo("impression"), SizeIs(1));
}

}  // namespace
}  // namespace trovix::test
