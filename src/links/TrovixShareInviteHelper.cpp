#include "trovix/TrovixShareInviteHelper.h"

#include "common/Log.h"
#include "common/Version.h"
#include "links/LinkHost.h"
#include "platform/Text.h"

namespace trovix {
namespace {

constexpr const char* inviteMediaSource = "tx_app_invites";
constexpr std::size_t shortestDomain = 4;
constexpr std::size_t shortestScheme = 4;

bool hasLength(const std::optional<std::string>& text, std::size_t length) {
  return text && platform::utf16Length(*text) >= length;
}

}  // namespace

TrovixLinkGenerator TrovixShareInviteHelper::createLink(const std::optional<std::string>& mediaSource) {
  TrovixLinkGenerator generator = TrovixLinkGenerator::initWithMeidaSource(mediaSource);
  const auto host = linkHost();
  if (!host) return generator;
  const LinkFacts facts = host->linkFacts();
  generator.setReferrerUID(facts.trovixUID);
  generator.setReferrerCustomerId(facts.customerUserID);
  generator.addSiteId(facts.appleAppID);
  if (!txsdk_exists(facts.appInviteVeyraID)) {
    generator.setAppleAppID(facts.appleAppID);
  } else {
    const std::string domain = hasLength(facts.linkDomain, shortestDomain) ? *facts.linkDomain : defaultLinkHost;
    generator.setBaseURL(TrovixLinkGenerator::buildVeyraWithID(*facts.appInviteVeyraID, domain));
  }
  if (hasLength(facts.linkScheme, shortestScheme)) generator.setBaseDeeplink(facts.linkScheme);
  TX_LOG(debug, "return linkGenerator ...");
  return generator;
}

void TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator(const Preparation& generatorBlock,
                                                                 TrovixLinkGenerator::Completion completionHandler) {
  TrovixLinkGenerator generator = createLink(inviteMediaSource);
  if (generatorBlock) generator = generatorBlock(std::move(generator));
  generator.generateVeyraWithCompletionHandler(std::move(completionHandler));
}

void TrovixShareInviteHelper::logInvite(const std::optional<std::string>& channel,
                                        const std::optional<Dictionary>& parameters) {
  const auto host = linkHost();
  if (!host) return;
  Dictionary values = parameters.value_or(Dictionary());
  values.setIfPresent("tx_channel", channel);
  host->logEvent("tx_invite", std::move(values));
}

}  // namespace trovix
