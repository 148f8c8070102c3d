#include "trovix/TrovixLinkGenerator.h"

#include "common/Encoding.h"
#include "common/Log.h"
#include "common/Version.h"
#include "device/TrovixUtils.h"
#include "links/LinkHost.h"
#include "network/Endpoints.h"
#include "platform/Url.h"

namespace trovix {
namespace {

// What a URL's host may hold without an escape.
constexpr platform::AllowedBytes hostBytes = platform::allowedBytes("-._~!$&'()*+,;=:[]");

}  // namespace

TrovixLinkGenerator TrovixLinkGenerator::initWithMeidaSource(const std::optional<std::string>& mediaSource) {
  TX_LOG(debug, "initWithMeidaSource is called");
  TrovixLinkGenerator generator;
  generator.mediaSource_ = mediaSource;
  return generator;
}

void TrovixLinkGenerator::setLogged(std::optional<std::string>& field, const std::optional<std::string>& value,
                                    const char* label) {
  if (!value) return;
  field = value;
  TX_LOG(debug, "{}{}", label, *value);
}

void TrovixLinkGenerator::setBrandDomain(const std::optional<std::string>& brandDomain) {
  if (brandDomain) brandDomain_ = brandDomain;
}
void TrovixLinkGenerator::setChannel(const std::optional<std::string>& channel) {
  setLogged(channel_, channel, "channel:           ");
}
void TrovixLinkGenerator::setCampaign(const std::optional<std::string>& campaign) {
  setLogged(campaign_, campaign, "campaign:           ");
}
void TrovixLinkGenerator::setReferrerUID(const std::optional<std::string>& referrerUID) {
  setLogged(referrerUID_, referrerUID, "referrerUID:        ");
}
void TrovixLinkGenerator::setReferrerCustomerId(const std::optional<std::string>& referrerCustomerId) {
  setLogged(referrerCustomerId_, referrerCustomerId, "referrerCustomerId: ");
}
void TrovixLinkGenerator::setReferrerName(const std::optional<std::string>& referrerName) {
  setLogged(referrerName_, referrerName, "referrerName:       ");
}
void TrovixLinkGenerator::setReferrerImageURL(const std::optional<std::string>& referrerImageURL) {
  setLogged(referrerImageURL_, referrerImageURL, "referrerImageURL:   ");
}
void TrovixLinkGenerator::setBaseURL(const std::optional<std::string>& baseURL) {
  setLogged(baseURL_, baseURL, "baseURL:            ");
}
void TrovixLinkGenerator::setAppleAppID(const std::optional<std::string>& appleAppID) {
  setLogged(appleAppID_, appleAppID, "appleAppID:         ");
}
void TrovixLinkGenerator::setDeeplinkPath(const std::optional<std::string>& deeplinkPath) {
  setLogged(deeplinkPath_, deeplinkPath, "deeplinkPath:       ");
}
void TrovixLinkGenerator::setBaseDeeplink(const std::optional<std::string>& baseDeeplink) {
  setLogged(baseDeeplink_, baseDeeplink, "baseDeeplink:       ");
}

void TrovixLinkGenerator::addParameterValue(const Value& value, const std::string& key) { parameters_.set(key, value); }
void TrovixLinkGenerator::addParameters(const Dictionary& parameters) { parameters_.merge(parameters); }
void TrovixLinkGenerator::addSiteId(const std::optional<std::string>& siteId) {
  parameters_.setIfPresent("tx_siteid", siteId);
}

std::string TrovixLinkGenerator::encodeValue(const std::string& value) {
  return platform::percentEncode(value, hostBytes);
}

std::string TrovixLinkGenerator::buildVeyraWithID(const std::string& ID, const std::string& domain) {
  return "https://" + domain + "/" + ID;
}

Dictionary TrovixLinkGenerator::longLinkFields() const {
  Dictionary fields;
  fields.setIfPresent("pid", mediaSource_);
  fields.setIfPresent("tx_channel", channel_);
  fields.setIfPresent("c", campaign_);
  fields.setIfPresent("tx_referrer_uid", referrerUID_);
  fields.setIfPresent("tx_referrer_customer_id", referrerCustomerId_);
  fields.setIfPresent("tx_referrer_name", referrerName_);
  fields.setIfPresent("tx_referrer_image_url", referrerImageURL_);
  if (baseDeeplink_) fields.set("tx_dp", *baseDeeplink_ + deeplinkPath_.value_or(""));
  fields.merge(parameters_);
  return fields;
}

Dictionary TrovixLinkGenerator::shortLinkFields() const {
  Dictionary fields;
  fields.setIfPresent("id", appleAppID_);
  fields.merge(longLinkFields());
  return fields;
}

std::string TrovixLinkGenerator::base() const {
  if (txsdk_exists(brandDomain_)) {
    const auto host = linkHost();
    // A branded address names the link template; without one the next base serves.
    if (const auto id = host ? host->linkFacts().appInviteVeyraID : std::nullopt; txsdk_exists(id)) {
      return buildVeyraWithID(*id, *brandDomain_);
    }
  }
  return txsdk_exists(baseURL_) ? *baseURL_ : std::string(defaultWebLinkAddress);
}

std::string TrovixLinkGenerator::generateLink() const {
  const std::string query = txsdk_queryString(longLinkFields()).value_or("");
  std::string link = base();
  if (appleAppID_) link += "/id" + *appleAppID_;
  link += query;
  TX_LOG(debug, "Generated Link: {}", link);
  return link;
}

void TrovixLinkGenerator::generateVeyraWithCompletionHandler(Completion completionHandler) const {
  constexpr std::int64_t serviceDefault = -1;
  generateVeyraWithTTL(serviceDefault, std::move(completionHandler));
}

void TrovixLinkGenerator::generateVeyraWithTTL(std::int64_t ttl, Completion completionHandler) const {
  const auto host = linkHost();
  const LinkFacts facts = host ? host->linkFacts() : LinkFacts();
  const std::string URL = TXSDKURLFormat(Endpoint::veyraCreate, {facts.hostPrefix, facts.host, facts.appInviteVeyraID});
  if (!host || facts.devKey.empty() || !txsdk_exists(facts.appInviteVeyraID) || !platform::Url::parse(URL)) {
    if (completionHandler) completionHandler(generateLink());
    return;
  }
  host->httpClient().createVeyra(URL, ttl, brandDomain_, facts.devKey, shortLinkFields(),
                                 [generator = *this, completionHandler = std::move(completionHandler)](
                                     const std::optional<std::string>& link, const std::optional<Error>& error) {
                                   if (!completionHandler) return;
                                   const bool isLink = !error && link && TrovixUtils::isValidURLFromString(*link);
                                   completionHandler(isLink ? *link : generator.generateLink());
                                 });
}

}  // namespace trovix
