#include "trovix/TrovixCrossPromotionHelper.h"

#include "common/Log.h"
#include "common/Version.h"
#include "links/LinkHost.h"
#include "network/Endpoints.h"

namespace trovix {
namespace {

constexpr const char* crossPromotionSource = "tx_cross_promotion";

}  // namespace

TrovixLinkGenerator TrovixCrossPromotionHelper::createLinkGenerator(const std::optional<std::string>& appID,
                                                                    const std::optional<std::string>& campaign,
                                                                    const std::optional<Dictionary>& parameters,
                                                                    const std::string& baseURL) {
  TrovixLinkGenerator generator = TrovixLinkGenerator::initWithMeidaSource(crossPromotionSource);
  const auto host = linkHost();
  const LinkFacts facts = host ? host->linkFacts() : LinkFacts();
  generator.setBaseURL(baseURL);
  generator.setAppleAppID(appID);
  if (host) generator.addSiteId(facts.appleAppID);
  if (facts.advertisingIdentifier) generator.addParameterValue(*facts.advertisingIdentifier, "idfa");
  if (facts.identifierForVendor) generator.addParameterValue(*facts.identifierForVendor, "idfv");
  generator.setCampaign(campaign);
  if (parameters) generator.addParameters(*parameters);
  return generator;
}

void TrovixCrossPromotionHelper::logAndOpenStore(const std::optional<std::string>& appID,
                                                 const std::optional<std::string>& campaign,
                                                 const std::optional<Dictionary>& parameters,
                                                 const OpenStore& openStore) {
  const auto host = linkHost();
  if (!host) return;
  const TrovixLinkGenerator generator = createLinkGenerator(appID, campaign, parameters, defaultWebLinkAddress);
  Dictionary values = parameters.value_or(Dictionary());
  values.setIfPresent("tx_campaign", campaign);
  host->logEvent("tx_cross_promotion_clicked", std::move(values));
  const std::string link = generator.generateLink();
  if (openStore) openStore(host->urlSessions().makeSession({}), link);
}

void TrovixCrossPromotionHelper::logCrossPromoteImpression(const std::optional<std::string>& appID,
                                                           const std::optional<std::string>& campaign,
                                                           const std::optional<Dictionary>& parameters) {
  const auto host = linkHost();
  if (!host) return;
  const LinkFacts facts = host->linkFacts();
  if (facts.isStopped) {
    TX_LOG(debug, "Cannot log impression: SDK stopped");
    return;
  }
  const std::string base = TXSDKURLFormat(Endpoint::impression, {facts.hostPrefix, facts.host});
  const auto session = host->urlSessions().makeSession({});
  // The session is named by its own completion, so it lives until the task has ended.
  session->startTask({.url = createLinkGenerator(appID, campaign, parameters, base).generateLink()},
                     [session](const platform::URLResult& result) {
                       if (result.error) {
                         TX_LOG(error, "logCrossPromoteImpression failed! Error - {}", *result.error);
                       }
                       session->finishTasksAndInvalidate();
                     });
}

}  // namespace trovix
