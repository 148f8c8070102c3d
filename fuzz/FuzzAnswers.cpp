// What a server may answer, question by question. Each answer is heard of exactly once, what the host is given is
// sound, and the next healthy exchange works.
#include "core/TrovixLibParts.h"
#include "fuzz/Support.h"
#include "platform/Url.h"
#include "trovix/TrovixDeepLink.h"
#include "trovix/TrovixLinkGenerator.h"
#include "trovix/TrovixShareInviteHelper.h"
#include "trovix/platform/NotificationCenter.h"

namespace {

using namespace trovix;
using fuzz::Application;
using fuzz::require;
using test::Answer;

void checkHealthy(Application& application) {
  application.device.network.defaultAnswer = {};
  int delivered = 0;
  application.sdk.startWithCompletionHandler([&](const auto& data, const auto& error) {
    require(!error && *data == Dictionary{{"statusCode", 200}});
    ++delivered;
  });
  application.device.advance(fuzz::kLongEnough);
  require(delivered == 1);
}

void launch(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.network.defaultAnswer = answer;
  int heard = 0;
  application.sdk.startWithCompletionHandler([&](const auto& data, const auto&) {
    require(data.has_value());
    ++heard;
  });
  device.advance(fuzz::kLongEnough);
  require(heard == 1);
  // The answer may have asked for the log, for a closing report, and for other links.
  device.network.defaultAnswer = {};
  device.notificationCenter.post(platform::application::didEnterBackground);
  device.advance(fuzz::kLongEnough);
  for (const char* part : {"monitorsdk", "stats."}) {
    for (const auto& request : device.network.requestsTo(part)) require(platform::parseJson(request.body()));
  }
  int links = 0;
  TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator({}, [&](const std::string& link) {
    require(platform::isValidUtf8(link));
    ++links;
  });
  device.advance(fuzz::kLongEnough);
  require(links == 1);
  checkHealthy(application);
}

/// The verdict that the delegate hears, or nothing when it hears of a failure.
std::optional<Dictionary> verdictOf(Application& application) {
  std::optional<Dictionary> verdict;
  int heard = 0;
  const auto delegate = std::make_shared<TrovixLibDelegate>();
  delegate->onConversionDataSuccess = [&](const Dictionary& data) {
    verdict = data;
    ++heard;
  };
  delegate->onConversionDataFail = [&](const Error&) { ++heard; };
  application.sdk.setDelegate(delegate);
  application.sdk.getConversionData();
  application.device.advance(fuzz::kLongEnough);
  require(heard == 1);
  return verdict;
}

void conversionData(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  auto verdict = verdictOf(application);
  if (!verdict) {
    application.device.network.defaultAnswer = {};
    verdict = verdictOf(application);
    require(verdict.has_value());
  }
  require(fuzz::isJson(*verdict) && *verdict->find("is_first_launch") == Value(true));
  // From now on it is served from what is kept.
  application.device.network.defaultAnswer = Answer::failure(platform::urlError::cannotConnectToHost);
  const auto kept = verdictOf(application);
  require(kept && *kept->find("is_first_launch") == Value(false));
  for (const auto& [key, value] : *verdict) {
    if (key.find('\0') == std::string::npos) require(value.isNull() || kept->contains(key));
  }
}

void deferredDeepLink(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  int heard = 0;
  const auto delegate = std::make_shared<TrovixDeepLinkDelegate>();
  delegate->didResolveDeepLink = [&](const TrovixDeepLinkResult& result) {
    ++heard;
    const auto& link = result.deepLink();
    require((result.status() == TrovixDeepLinkResultStatus::found) == (link && !result.error()));
    if (!link) return;
    require(link->isDeferred() && fuzz::isJson(link->clickEvent()) && platform::parseJson(link->toString()));
  };
  application.sdk.setDeepLinkDelegate(delegate);
  application.device.advance(fuzz::kLongEnough);
  require(heard == 1);
  checkHealthy(application);
}

/// Opens the link, of which the application hears exactly once.
void openLink(Application& application, const std::string& link) {
  int heard = 0;
  const auto delegate = std::make_shared<TrovixLibDelegate>();
  delegate->onAppOpenAttribution = [&](const Dictionary& data) {
    // What a link escapes need not be text, so it may not read back.
    require(platform::writeJson(data));
    ++heard;
  };
  delegate->onAppOpenAttributionFailure = [&](const Error&) { ++heard; };
  application.sdk.setDelegate(delegate);
  application.sdk.performOnAppAttributionWithURL(link);
  application.device.advance(fuzz::kLongEnough);
  require(heard == 1);
}

void shortLink(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  openLink(application, "https://vy.trovix.example/abcd/efgh");
  application.device.network.defaultAnswer = {};
  openLink(application, "https://vy.trovix.example/abcd/efgh");
}

void redirects(Application& application, const Answer& answer) {
  application.sdk.setResolveDeepLinkURLs(std::vector<std::string>{"click.test", "more.test"});
  application.device.network.defaultAnswer = answer;
  openLink(application, "https://click.test/abcd?x=1");
  for (const auto& request : application.device.network.requests) {
    if (request.session != test::SessionKind::ownSession) continue;
    const auto url = platform::Url::parse(request.url());
    require(!url || url->host() == "click.test" || url->host() == "more.test");
  }
  application.device.network.defaultAnswer = {};
  openLink(application, "https://click.test/abcd?x=1");
}

void checkValues(const test::SimulatedDevice& device) {
  std::int64_t last = 0;
  for (const std::int64_t value : device.frameworks.network.values) {
    require(value > last && value <= 63);
    last = value;
  }
}

void rules(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.network.defaultAnswer = answer;
  device.notificationCenter.post(platform::application::didFinishLaunching);
  device.advance(fuzz::kLongEnough);
  ConversionRuleFetcher& fetcher = application.sdk.parts().rules;
  device.queues.runOn(*application.sdk.parts().serial, [&] {
    for (const char* name : {"tx_purchase", "a", "b", "a"}) {
      fetcher.willUpdateConversionValueWithName(name, Dictionary{{"tx_price", "7.5"}});
    }
  });
  checkValues(device);
  // The next process reads the same rule from storage.
  const auto stored = device.userDefaults.standard().dictionary("TrovixSKRules");
  const bool isS2S = fetcher.isS2SModeEnabled();
  const bool isExpired = fetcher.isSKWindowExpired();
  Application next(device.disk);
  require(next.device.userDefaults.standard().dictionary("TrovixSKRules") == stored);
  if (stored) require(next.sdk.parts().rules.isS2SModeEnabled() == isS2S);
  if (stored) require(next.sdk.parts().rules.isSKWindowExpired() == isExpired);
}

void conversionValue(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.network.answer("/rules?", Answer{.body = R"({"sk_rules":{"s2s":true,"wi":24}})"});
  device.network.answer("/conversion-value?", answer);
  device.notificationCenter.post(platform::application::didFinishLaunching);
  device.advance(fuzz::kLongEnough);
  require(application.sdk.parts().rules.isS2SModeEnabled());
  for (int i = 0; i < 2; ++i) {
    device.notificationCenter.post(platform::application::didEnterBackground);
    device.advance(fuzz::kLongEnough);
  }
  checkValues(device);
}

void receipt(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.fileSystem.place("/app/Shop.app/StoreKit/receipt", "RECEIPT");
  device.network.answer("validate-ios-receipt-server", answer);
  int heard = 0;
  application.sdk.validateAndLogInAppPurchase(
      "shoes", "3", "USD", "T1", {},
      [&](const Dictionary& response) {
        require(response.contains("transaction_id") && fuzz::isJson(response));
        ++heard;
      },
      [&](const auto&, const auto&) { ++heard; });
  device.advance(fuzz::kLongEnough);
  require(heard == 1);
}

void linkCreation(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  TrovixLinkGenerator generator("source");
  generator.setCampaign("a b");
  int heard = 0;
  generator.generateVeyraWithCompletionHandler([&](const std::string& link) {
    require(link == generator.generateLink() || (link == answer.body && platform::Url::parse(link)->host()));
    ++heard;
  });
  application.device.advance(fuzz::kLongEnough);
  require(heard == 1);
}

/// In the order of their letters, which begin an input.
constexpr void (*kQuestions[])(Application&, const Answer&) = {
    launch, conversionData, deferredDeepLink, shortLink, redirects, rules, conversionValue, receipt, linkCreation};

/// A digit for the status, the address of a redirect up to the end of the line, then the body.
Answer answerIn(fuzz::Input& input) {
  constexpr std::int64_t statuses[] = {200, 404, 403, 500, 204, 302, 400, 307, 999, 0};
  const std::uint8_t choice = input.byte();
  if (choice == '-') return Answer::failure(platform::urlError::timedOut);
  Answer answer{.status = statuses[static_cast<std::uint8_t>((choice & 0x7FU) - '0') % std::size(statuses)]};
  if (choice > 0x7F) answer.mimeType = "text/html";
  if (const std::string location = input.line(); !location.empty()) answer.headers.set("Location", location);
  answer.body = input.rest();
  return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const auto question = kQuestions[static_cast<std::uint8_t>(input.byte() - 'a') % std::size(kQuestions)];
  const Answer answer = answerIn(input);
  Application application;
  question(application, answer);
  return 0;
}
