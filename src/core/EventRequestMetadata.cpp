#include "core/EventRequestMetadata.h"

#include <initializer_list>
#include <utility>

#include "core/ConversionRules.h"
#include "core/DeepLinks.h"
#include "core/PartnerData.h"
#include "device/TXSDKiAdClient.h"
#include "network/TXSDKEvent.h"
#include "network/TXSDKPerformance.h"
#include "platform/Json.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"

namespace trovix {
namespace {

void setUnlessEmpty(Dictionary& metadata, std::string_view key, Dictionary section) {
  if (!section.empty()) metadata.set(key, std::move(section));
}

/// The results that are there, each under its own name.
Dictionary timings(const TXSDKPerformance& performance,
                   std::initializer_list<std::pair<const char*, const char*>> namesAndKeys) {
  Dictionary section;
  for (const auto& [name, key] : namesAndKeys) section.setIfPresent(name, performance.infoForKey(key));
  return section;
}

/// Without what has no JSON form, which would cost the whole body. It goes two levels down.
std::optional<Dictionary> writablePartners(const std::optional<Dictionary>& partners) {
  if (!partners) return std::nullopt;
  Dictionary writable;
  for (const auto& [partner, info] : *partners) {
    const Dictionary* values = info.dictionary();
    if (values != nullptr && platform::isValidJsonObject(*values, platform::maximumJsonDepth - 2)) {
      writable.set(partner, info);
    }
  }
  return writable;
}

}  // namespace

void EventRequestMetadata::addTo(TXSDKEvent& event) {
  if (!event.parameters) event.parameters.emplace();
  Dictionary& parameters = *event.parameters;
  const bool isLaunch = event.has(eventOption::TXEventOptionLaunch);
  Dictionary metadata;
  if (isLaunch) {
    takeLink(parameters, metadata);
    addServerToServerValue(metadata);
  }
  const std::optional<Dictionary> searchAdsToken = addTimings(event, metadata);
  if (isLaunch) metadata.setIfPresent("error", sources_.partners.error());
  if (!metadata.empty()) {
    // What an earlier attempt took, it took for good.
    const Dictionary* earlier = parameters.dictionary("meta");
    Dictionary all = earlier != nullptr ? *earlier : Dictionary();
    all.merge(metadata);
    parameters.set("meta", std::move(all));
  }
  parameters.setIfPresent("asa_data", searchAdsToken);
  if (isLaunch) parameters.setIfPresent("partner_data", writablePartners(sources_.partners.partnerData()));
  if (event.has(eventOption::TXEventOptionColdStart)) {
    parameters.setIfPresent("sk_rules", sources_.storage.dictionaryForKey(storageKey::conversionRules));
  }
}

void EventRequestMetadata::takeLink(Dictionary& parameters, Dictionary& metadata) {
  if (const auto link = sources_.deepLinks.takeVeyraParams()) {
    if (const std::string* address = link->string("tx_deeplink")) {
      const auto payloadKeys = sources_.performance.infoForKeyAndRemove(*address);
      if (payloadKeys && txsdk_exists(*payloadKeys)) metadata.set("payloadKeys", *payloadKeys);
    }
    parameters.merge(*link);
  }
  sources_.deepLinks.setDeepLinkAndResolve(std::nullopt, LinkHandler::cleared);
}

void EventRequestMetadata::addServerToServerValue(Dictionary& metadata) {
  if (!sources_.rules.isS2SModeEnabled() || sources_.rules.isSKWindowExpired()) return;
  const std::int64_t value = sources_.storage.integerForKey(storageKey::conversionValue);
  metadata.set("skad", Dictionary{{"s2s", Dictionary{{"upcv", value}}}});
}

std::optional<Dictionary> EventRequestMetadata::addTimings(const TXSDKEvent& event, Dictionary& metadata) {
  if (event.has(eventOption::TXEventOptionFirstLaunch)) {
    addFirstLaunchTimings(metadata);
    return sources_.iAdClient.appleAdsAttributionToken();
  }
  if (event.has(eventOption::TXEventOptionSearchAds)) return sources_.iAdClient.appleAdsAttributionToken();
  if (event.has(eventOption::TXEventOptionLaunch) && !didReportLaunchTimings_.exchange(true)) {
    addLaunchTimings(metadata);
  }
  return std::nullopt;
}

void EventRequestMetadata::addFirstLaunchTimings(Dictionary& metadata) {
  TXSDKPerformance& performance = sources_.performance;
  Dictionary deferredLink = timings(performance, {{"from_fg", TXSDKPerformance::TXSDKFromInitToDDLNetwork}});
  if (auto network = performance.infoForKey(TXSDKPerformance::deferredDeepLinkNetwork)) {
    deferredLink.set("net", Array{*std::move(network)});
  }
  deferredLink.merge(timings(performance, {{"status", TXSDKPerformance::deferredDeepLinkStatus},
                                           {"timeout_value", TXSDKPerformance::deferredDeepLinkTimeout}}));
  setUnlessEmpty(metadata, "first_launch",
                 timings(performance, {{"init_to_fg", TXSDKPerformance::TXSDKFromInitToStart}}));
  setUnlessEmpty(metadata, "ddl", std::move(deferredLink));
  performance.stop(TXSDKPerformance::TXSDKFromStartToNetwork);
  performance.start(TXSDKPerformance::firstLaunchNetwork);
}

void EventRequestMetadata::addLaunchTimings(Dictionary& metadata) {
  const TXSDKPerformance& performance = sources_.performance;
  setUnlessEmpty(metadata, "first_launch",
                 timings(performance, {{"init_to_fg", TXSDKPerformance::TXSDKFromInitToStart},
                                       {"from_fg", TXSDKPerformance::TXSDKFromStartToNetwork},
                                       {"net", TXSDKPerformance::firstLaunchNetwork}}));
  setUnlessEmpty(metadata, "gcd",
                 timings(performance, {{"net", TXSDKPerformance::conversionDataNetwork},
                                       {"retries", TXSDKPerformance::conversionDataRetries}}));
}

}  // namespace trovix
