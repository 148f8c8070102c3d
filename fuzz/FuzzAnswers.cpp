// What a server may answer, question by question. Each answer is heard of exactly once, what the host is given is
// sound, and the next healthy exchange works.
#include "core/TrovixLibParts.h"
#include "fuzz/Answers.h"
#include "trovix/platform/NotificationCenter.h"

namespace {

using namespace trovix;
using fuzz::Application;
using fuzz::require;
using test::Answer;

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
  application.device.advance(fuzz::longEnough);
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
  device.advance(fuzz::longEnough);
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
  device.advance(fuzz::longEnough);
  require(application.sdk.parts().rules.isS2SModeEnabled());
  for (int i = 0; i < 2; ++i) {
    device.notificationCenter.post(platform::application::didEnterBackground);
    device.advance(fuzz::longEnough);
  }
  checkValues(device);
}

/// In the order of their letters, which begin an input. New ones go to the end.
constexpr void (*everyQuestion[])(Application&, const Answer&) = {
    fuzz::launch,         conversionData,       fuzz::deferredDeepLink,
    fuzz::shortLink,      fuzz::redirects,      rules,
    conversionValue,      fuzz::receipt,        fuzz::linkCreation,
    fuzz::inAppEvent,     fuzz::purchaseEvent,  fuzz::adRevenue,
    fuzz::uninstallToken, fuzz::closingReports, fuzz::searchAds,
    fuzz::appLink,        fuzz::crossPromotion, fuzz::linkParameters};

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
  const auto question = everyQuestion[static_cast<std::uint8_t>(input.byte() - 'a') % std::size(everyQuestion)];
  const Answer answer = answerIn(input);
  Application application;
  question(application, answer);
  return 0;
}
