#include "torture/FaultEndpoints.h"

#include <fmt/core.h>

#include "trovix/TrovixCrossPromotionHelper.h"
#include "trovix/TrovixLinkGenerator.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::torture::faults {
namespace {

namespace application = platform::application;

constexpr const char* mailLink = "https://click.mail.test/c/42";
constexpr const char* shopLink = "https://shop.test/shoes";

TrovixLib::Completion heardBy(const Phone& phone) {
  return [ears = phone.ears()](const auto&, const std::optional<Error>& error) {
    ears->hear(error ? fmt::format("error {}", error->code()) : "ok");
  };
}

/// New for every use, of whatever telephone.
int nextNumber() {
  static int number = 0;
  return ++number;
}

void launch(Phone& phone) { phone.sdk().startWithCompletionHandler(heardBy(phone)); }

void launchWithSearchAds(Phone& phone) {
  phone.sdk().setDisableCollectASA(false);
  phone.sdk().start();
}

void logEvent(Phone& phone) { phone.sdk().logEventWithEventName("level_up", Dictionary{{"level", 7}}, heardBy(phone)); }

void enterBackground(Phone& phone) { phone.post(application::didEnterBackground); }

void getConversionData(Phone& phone) {
  phone.setDelegate();
  phone.sdk().getConversionData();
}

void openShortLink(Phone& phone) {
  phone.setDelegate();
  phone.sdk().handleOpenURL("https://vy.trovix.example/abc/xyz", std::nullopt);
}

void openMailLink(Phone& phone) {
  phone.setDelegate();
  phone.sdk().setResolveDeepLinkURLs({{"click.mail.test", circleHost}});
  phone.sdk().handleOpenURL(mailLink, std::nullopt);
}

void createShortLink(Phone& phone) {
  TrovixLinkGenerator generator("friends");
  generator.setBaseURL("https://long.test");
  generator.generateVeyraWithCompletionHandler([ears = phone.ears()](const std::string& link) {
    ears->hear(link.starts_with("https://long.test") ? "long" : "short");
  });
}

void seeCrossPromotion(Phone&) {
  TrovixCrossPromotionHelper::logCrossPromoteImpression("1112223334", "spring", std::nullopt);
}

void buy(Phone& phone) {
  phone.sdk().validateAndLogInAppPurchase(
      "shoes", "9.99", "EUR", fmt::format("T-{}", nextNumber()), std::nullopt,
      [ears = phone.ears()](const Dictionary&) { ears->hear("valid"); },
      [ears = phone.ears()](const auto&, const auto&) { ears->hear("invalid"); });
}

void buyUnheard(Phone& phone) {
  phone.sdk().validateAndLogInAppPurchase("shoes", "9.99", "EUR", fmt::format("T-{}", nextNumber()), std::nullopt, {},
                                          {});
}

void sendAdRevenue(Phone& phone) { phone.sdk().sendAdRevenueWithParameters({{"network", "demo"}, {"revenue", 0.01}}); }

void registerToken(Phone& phone) {
  const std::string token = fmt::format("token {}", nextNumber());
  phone.sdk().registerUninstall(Data(token.begin(), token.end()));
}

void fetchRule(Phone& phone) { phone.post(application::didFinishLaunching); }

void launchThenFetchRule(Phone& phone) {
  launch(phone);
  // A launch that is queued behind the rule does not open the buffer for what comes later.
  (void)phone.comesToRest(std::chrono::seconds(60));
  fetchRule(phone);
}

Dictionary answerOf(Dictionary body) { return {{"body", std::move(body)}}; }

Array always(Dictionary answer) {
  answer.set("forever", true);
  return {std::move(answer)};
}

constexpr std::array<const char*, effectCount> outcomesOfEvent{"error 40", "error 40", "error 50", "ok",
                                                               "ok",       "ok",       "ok"};
constexpr std::array<const char*, effectCount> unheard{"", "", "", "", "", "", ""};

std::vector<Endpoint> eventEndpoints() {
  const std::vector<Effect> answered{Effect::missing, Effect::refused, Effect::garbled,
                                     Effect::odd,     Effect::list,    Effect::healthy};
  return {
      {.name = "first launch",
       .key = "Conversions",
       .use = launch,
       .outcomes = outcomesOfEvent,
       .isKept = true,
       .retries = 2,
       .isOncePerProcess = true,
       .settledBy = answered,
       .settled = "ok"},
      {.name = "launch",
       .key = "Launches",
       .prepare = launch,
       .use = launch,
       .outcomes = outcomesOfEvent,
       .isKept = true,
       .retries = 2},
      {.name = "search ads",
       .key = "Attr",
       .use = launchWithSearchAds,
       .outcomes = unheard,
       .isKept = true,
       .keptElsewhere = 1,
       .retries = 2,
       .isOncePerProcess = true,
       .settledBy = answered},
      {.name = "in-app event",
       .key = "InApps",
       .prepare = launch,
       .use = logEvent,
       .outcomes = outcomesOfEvent,
       .isKept = true,
       .retries = 2},
      {.name = "purchase",
       .key = "ReceiptValidationInApp",
       .prepare = launch,
       .use = buyUnheard,
       .outcomes = unheard,
       .isKept = true,
       .retries = 2},
  };
}

std::vector<Endpoint> questionEndpoints() {
  return {
      {.name = "conversion data",
       .key = "GCD",
       .use = getConversionData,
       .outcomes = {"no data", "data Organic", "no data", "no data", "data 5", "no data", "data Non-organic"},
       .retries = 2,
       .settledBy = {Effect::missing, Effect::odd, Effect::healthy},
       .settled = nullptr},
      {.name = "deferred deep link",
       .key = "DDL",
       .use = [](Phone& phone) { phone.setDeepLinkDelegate(); },
       .outcomes = {"error", "error", "not found", "error", "not found", "not found", "found shoes"},
       .hasOwnTimeout = true,
       .isOncePerProcess = true},
      {.name = "short link",
       .key = "VeyraGet",
       .use = openShortLink,
       .outcomes = {"no link", "no link", "link (missing)", "no link", "link (\n    shoes\n)", "no link",
                    "link shoes"}},
      {.name = "link of a mail",
       .key = "host:click.mail.test",
       .use = openMailLink,
       .outcomes = {"link https://click.mail.test/c/42", "link https://click.mail.test/c/42",
                    "link https://click.mail.test/c/42", "link https://click.mail.test/c/42",
                    "link https://click.mail.test/c/42", "link https://click.mail.test/c/42",
                    "link https://shop.test/shoes"},
       .hasOwnTimeout = true,
       .healthy = {{"redirect", shopLink}}},
      {.name = "conversion rule",
       .key = "SKRules",
       .use = fetchRule,
       .outcomes = {"", "", "", "", "", "", "registered"},
       .hasOwnTimeout = true,
       .isOncePerProcess = true,
       .settledBy = {Effect::healthy}},
      {.name = "conversion value",
       .key = "SKConversionValue",
       .prepare = launchThenFetchRule,
       .use = enterBackground,
       .outcomes = {"", "", "", "", "", "", "value 7"},
       .hasOwnTimeout = true,
       .settledBy = {Effect::healthy},
       .scenario = {{"SKRules", always(answerOf({{"sk_rules", Dictionary{{"s2s", true}}}}))}}},
      {.name = "receipt validation",
       .key = "ReceiptValidation",
       .prepare = launch,
       .use = buy,
       .outcomes = {"invalid", "invalid", "invalid", "invalid", "invalid", "invalid", "valid"},
       .keptElsewhere = 1},
      {.name = "link creation",
       .key = "VeyraCreate",
       .use = createShortLink,
       .outcomes = {"long", "long", "long", "long", "long", "long", "short"}},
  };
}

std::vector<Endpoint> reportEndpoints() {
  const Array monitored = always(answerOf({{"monitor", 1}}));
  return {
      {.name = "ad revenue", .key = "AdRevenue", .use = sendAdRevenue, .outcomes = unheard},
      {.name = "uninstall token", .key = "Uninstall", .use = registerToken, .outcomes = unheard},
      {.name = "impression", .key = "Impression", .use = seeCrossPromotion, .outcomes = unheard},
      {.name = "closing report",
       .key = "Stats",
       .prepare = [](Phone& phone) { phone.sdk().setIsBackgroundRequestEnabled(true); },
       .use = enterBackground,
       .outcomes = unheard},
      {.name = "remote debugging",
       .key = "RemoteDebug",
       .prepare = launch,
       .use = enterBackground,
       .outcomes = unheard,
       .isOncePerProcess = true,
       .scenario = {{"Conversions", monitored}, {"Launches", monitored}}},
  };
}

}  // namespace

const std::vector<Endpoint>& everyEndpoint() {
  static const std::vector<Endpoint> all = [] {
    std::vector<Endpoint> endpoints = eventEndpoints();
    for (auto&& group : {questionEndpoints(), reportEndpoints()}) {
      endpoints.insert(endpoints.end(), group.begin(), group.end());
    }
    return endpoints;
  }();
  return all;
}

}  // namespace trovix::torture::faults
