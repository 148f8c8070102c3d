#include "trovix/TrovixDeepLink.h"

#include <gtest/gtest.h>

#include "links/TrovixDictionary.h"
#include "trovix/platform/URLSession.h"

namespace trovix {
namespace {

using Status = TrovixDeepLinkResultStatus;

TEST(TrovixDeepLinkTest, ADeferredAnswerIsALinkOnlyWhenFoundIsTrue) {
  const std::pair<std::optional<Value>, bool> cases[] = {{std::nullopt, false}, {false, false}, {"true", false},
                                                         {nullptr, false},      {0, false},     {2, false},
                                                         {true, true},          {1, true},      {1.0, true}};
  for (const auto& [found, isLink] : cases) {
    Dictionary answer{{"click_event", Dictionary{{"match_type", "probabilistic"}}}};
    answer.setIfPresent("found", found);
    EXPECT_EQ(TrovixDeepLink::withParameters(answer) != nullptr, isLink) << description(answer);
  }
}

TEST(TrovixDeepLinkTest, AFieldOfTheClickWinsOverACustomParameter) {
  const auto link = TrovixDeepLink::withParameters(
      {{"found", true},
       {"click_event",
        Dictionary{{"campaign", "summer"},
                   {"timestamp", "2024"},
                   {"deep_link_value", 17},
                   {"custom_params", Dictionary{{"campaign", "custom"}, {"tx_sub1", "one"}, {"timestamp", "x"}}}}}});
  EXPECT_TRUE(link->isDeferred());
  EXPECT_EQ(link->clickEvent(), (Dictionary{{"campaign", "summer"}, {"tx_sub1", "one"}, {"deep_link_value", 17}}));
  EXPECT_EQ(link->campaign(), "summer");
  EXPECT_EQ(link->txSub1(), "one");
  EXPECT_FALSE(link->deeplinkValue()) << "only text fills a field";
}

TEST(TrovixDeepLinkTest, AnAnswerWithoutAUsableClickIsAnEmptyLink) {
  for (const Value& click : {Value(nullptr), Value("text"), Value(Array{1}), Value(Dictionary{{"custom_params", 5}})}) {
    const auto link = TrovixDeepLink::withParameters({{"found", true}, {"click_event", click}});
    ASSERT_NE(link, nullptr);
    EXPECT_TRUE(link->clickEvent().empty());
  }
}

TEST(TrovixDeepLinkTest, LinkParametersLoseTheirControlKeys) {
  const struct {
    const char* name;
    Dictionary parameters, clickEvent;
  } cases[] = {
      {"short names fill long ones", {{"c", "a"}, {"pid", "b"}}, {{"campaign", "a"}, {"media_source", "b"}}},
      {"long names win", {{"c", "a"}, {"campaign", "b"}}, {{"campaign", "b"}}},
      {"unknown names stay", {{"colour", "red"}, {"TX_DP", "2"}}, {{"colour", "red"}, {"TX_DP", "2"}}},
      {"the list goes to its end", {{"install_time", "1"}, {"tx_audio_played_length", "2"}, {"host", "h"}}, {}},
  };
  for (const auto& c : cases) {
    const auto link = TrovixDeepLink::withVeyra(c.parameters);
    EXPECT_EQ(link->clickEvent(), c.clickEvent) << c.name;
    EXPECT_FALSE(link->isDeferred());
  }
}

TEST(TrovixDeepLinkTest, TextHoldsTwelveKeysInTheirOrder) {
  const auto link = TrovixDeepLink::withVeyra(
      {{"tx_sub5", "five"}, {"deep_link_value", "pear/1"}, {"click_http_referrer", "r"}, {"other", "o"}});
  EXPECT_EQ(link->toString(),
            R"({"click_event":{"tx_sub5":"five","deep_link_value":"pear/1","click_http_referrer":"r","other":"o"},)"
            R"("deep_link_value":"pear/1","match_type":null,"click_http_referrer":"r","media_source":null,)"
            R"("campaign":null,"campaign_id":null,"tx_sub1":null,"tx_sub2":null,"tx_sub3":null,"tx_sub4":null,)"
            R"("tx_sub5":"five"})");
  EXPECT_EQ(link->description(), link->toString());
}

TEST(TrovixDeepLinkTest, AnErrorDecidesTheStatusAndATimeoutIsRenamed) {
  const auto link = TrovixDeepLink::withVeyra({});
  const Error timeout(urlErrorDomain, platform::urlError::timedOut);
  const Error overLost("network", 40, {}, Error(urlErrorDomain, platform::urlError::networkConnectionLost));
  EXPECT_EQ(TrovixDeepLinkResult(nullptr, std::nullopt).status(), Status::notFound);
  EXPECT_EQ(TrovixDeepLinkResult(link, std::nullopt).status(), Status::found);
  EXPECT_EQ(TrovixDeepLinkResult(link, overLost).status(), Status::error);
  EXPECT_EQ(TrovixDeepLinkResult(nullptr, overLost).error(), overLost);
  EXPECT_EQ(TrovixDeepLinkResult(nullptr, timeout).error(), timeout) << "only a time-out underneath counts";

  const TrovixDeepLinkResult renamed(link, Error("network", 40, {}, timeout));
  EXPECT_EQ(renamed.deepLink(), link);
  EXPECT_EQ(renamed.error()->domain(), "example.trovix.sdk.deeplink");
  EXPECT_EQ(renamed.error()->code(), 10);
  EXPECT_EQ(renamed.error()->localizedDescription(), "Resolve DeepLink timeout");
  EXPECT_EQ(renamed.error()->underlyingError(), nullptr);
}

TEST(TrovixDictionaryTest, AMissingValueIsStillThere) {
  TrovixDictionary payload;
  payload.setParameter(std::optional<std::string>(), "text");
  payload.setParameter(std::optional<Value>(), "value");
  payload.setParameter(std::optional<Value>(nullptr), "null");
  EXPECT_EQ(payload.dict(), (Dictionary{{"text", ""}, {"value", ""}, {"null", nullptr}}));
}

}  // namespace
}  // namespace trovix
