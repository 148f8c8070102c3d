// What a server may answer about links.
#include "core/TrovixLibParts.h"
#include "fuzz/Answers.h"
#include "platform/Url.h"
#include "trovix/TrovixCrossPromotionHelper.h"
#include "trovix/TrovixDeepLink.h"
#include "trovix/TrovixLinkGenerator.h"

namespace trovix::fuzz {
namespace {

using test::Answer;

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
  application.device.advance(longEnough);
  require(heard == 1);
}

}  // namespace

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

void deferredDeepLink(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  int heard = 0;
  const auto delegate = std::make_shared<TrovixDeepLinkDelegate>();
  delegate->didResolveDeepLink = [&](const TrovixDeepLinkResult& result) {
    ++heard;
    const auto& link = result.deepLink();
    require((result.status() == TrovixDeepLinkResultStatus::found) == (link && !result.error()));
    if (!link) return;
    require(link->isDeferred() && isJson(link->clickEvent()) && platform::parseJson(link->toString()));
  };
  application.sdk.setDeepLinkDelegate(delegate);
  application.device.advance(longEnough);
  require(heard == 1);
  checkHealthy(application);
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
  application.device.advance(longEnough);
  require(heard == 1);
}

void appLink(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  const auto companion = std::make_shared<test::SimulatedAppLinkUtility>();
  device.classRegistry.classes["FBSDKAppLinkUtility"] = companion;
  application.sdk.enableFacebookDeferredApplinksWithClass("FBSDKAppLinkUtility");
  device.network.defaultAnswer = {};
  int delivered = 0;
  application.sdk.startWithCompletionHandler([&](const auto&, const auto& error) {
    require(!error);
    ++delivered;
  });
  device.runUntilIdle();
  require(companion->waiting.size() == 1 && delivered == 0);
  using Link = Result<std::optional<std::string>>;
  companion->answer(answer.error ? Link(*answer.error) : Link(answer.body));
  device.advance(longEnough);
  require(delivered == 1);
  const auto link = application.sdk.facebookDeferredAppLink();
  require(answer.error || answer.body.empty() ? !link : link == answer.body);
  checkHealthy(application);
}

void crossPromotion(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.network.defaultAnswer = answer;
  const Dictionary parameters{{"a b", "c&d"}, {"n", 1}};
  TrovixCrossPromotionHelper::logCrossPromoteImpression("555", "camp", parameters);
  device.advance(longEnough);
  require(device.network.requests.front().url().starts_with("https://impression."));
  int ended = 0;
  TrovixCrossPromotionHelper::logAndOpenStore("555", "camp", parameters, [&](const auto& session, const auto& URL) {
    session->startTask({.url = URL}, [&](const auto&) { ++ended; });
  });
  device.advance(longEnough);
  require(ended == 1);
  checkHealthy(application);
}

void linkParameters(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  int heard = 0;
  application.sdk.parts().http->getVeyra("https://vy.trovix.example/abcd", "AbCdEfGhIjKlMn",
                                         [&](const auto& parameters, const auto& error) {
                                           require(!parameters || (!error && isJson(*parameters)));
                                           ++heard;
                                         });
  application.device.advance(longEnough);
  require(heard == 1);
  checkHealthy(application);
}

}  // namespace trovix::fuzz
