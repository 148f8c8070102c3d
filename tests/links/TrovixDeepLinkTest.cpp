#include "trovix/TrovixDeepLink.h"

#include "support/Testing.h"
#include "trovix/platform/URLSession.h"

namespace trovix {

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
  const std::tuple<const char*, Dictionary, Dictionary> cases[] = {
      {"short names fill long ones", {{"c", "a"}, {"pid", "b"}}, {{"campaign", "a"}, {"media_source", "b"}}},
      {"long names win", {{"c", "a"}, {"campaign", "b"}}, {{"campaign", "b"}}},
      {"unknown names stay", {{"colour", "red"}, {"TX_DP", "2"}}, {{"colour", "red"}, {"TX_DP", "2"}}},
      {"the list goes to its end", {{"install_time", "1"}, {"tx_audio_played_length", "2"}, {"host", "h"}}, {}}};
  for (const auto& [name, parameters, clickEvent] : cases) {
    const auto link = TrovixDeepLink::withVeyra(parameters);
    EXPECT_EQ(link->clickEvent(), clickEvent) << name;
    EXPECT_FALSE(link->isDeferred());
  }
}

TEST(TrovixDeepLinkTest, AnErrorDecidesTheStatusAndATimeoutIsRenamed) {
  const auto link = TrovixDeepLink::withVeyra({});
  const Error timeout(urlErrorDomain, platform::urlError::timedOut);
  const Error overLost("network", 40, {}, Error(urlErrorDomain, platform::urlError::networkConnectionLost));
  using enum TrovixDeepLinkResultStatus;
  EXPECT_EQ(TrovixDeepLinkResult(nullptr, std::nullopt).status(), notFound);
  EXPECT_EQ(TrovixDeepLinkResult(link, std::nullopt).status(), found);
  EXPECT_EQ(TrovixDeepLinkResult(link, overLost).status(), error);
  EXPECT_EQ(TrovixDeepLinkResult(nullptr, timeout).error(), timeout) << "only a time-out underneath counts";

  const TrovixDeepLinkResult renamed(link, Error("network", 40, {}, timeout));
  EXPECT_EQ(renamed.deepLink(), link);
  EXPECT_EQ(renamed.error(),
            Error("example.trovix.sdk.deeplink", 10, {{Error::localizedDescriptionKey, "Resolve DeepLink timeout"}}));
}

}  // namespace trovix
