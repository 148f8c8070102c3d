#include "trovix/TrovixDeepLink.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "common/DictionaryReads.h"
#include "common/Encoding.h"
#include "common/TXSDKError.h"
#include "trovix/platform/URLSession.h"

namespace trovix {

namespace {

namespace linkField {
constexpr const char* clickEvent = "click_event";
constexpr const char* customParameters = "custom_params";
constexpr const char* campaign = "campaign";
constexpr const char* mediaSource = "media_source";
}  // namespace linkField

constexpr std::int64_t resolveTimeoutCode = 10;

/// Parameters that steer a link and say nothing to the application that it opens.
constexpr std::string_view linkControlKeys[] = {"install_time",
                                                "path",
                                                "scheme",
                                                "host",
                                                "pid",
                                                "c",
                                                "tx_prt",
                                                "tx_mp",
                                                "clickid",
                                                "tx_siteid",
                                                "tx_sub_siteid",
                                                "tx_c_id",
                                                "tx_adset",
                                                "tx_adset_id",
                                                "tx_ad",
                                                "tx_ad_id",
                                                "tx_ad_type",
                                                "tx_click_lookback",
                                                "tx_viewthrough_lookback",
                                                "tx_channel",
                                                "tx_keywords",
                                                "tx_cost_model",
                                                "tx_cost_currency",
                                                "tx_cost_value",
                                                "tx_r",
                                                "tx_web_dp",
                                                "tx_dp",
                                                "tx_force_deeplink",
                                                "tx_ref",
                                                "is_incentivized",
                                                "tx_param_forwarding",
                                                "is_retargeting",
                                                "tx_reengagement_window",
                                                "is_branded_link",
                                                "is_universal_link",
                                                "esp_name",
                                                "tx_generated_clk",
                                                "transaction_id",
                                                "tx_fp_lookback_window",
                                                "tx_vt_fp_lookback_window",
                                                "tx_fp_priority",
                                                "tx_generate_clk",
                                                "tx_inactivity_window",
                                                "tx_vy_red",
                                                "tx_attr",
                                                "tx_vy_lp",
                                                "tx_blank_red",
                                                "tx_source",
                                                "tx_lp_src",
                                                "tx_src_browser",
                                                "tx_tranid",
                                                "tx_wrt_clk",
                                                "tx_ua",
                                                "tx_ip",
                                                "tx_lang",
                                                "advertising_id",
                                                "sha1_advertising_id",
                                                "md5_advertising_id",
                                                "android_id",
                                                "sha1_android_id",
                                                "md5_android_id",
                                                "imei",
                                                "sha1_imei",
                                                "md5_imei",
                                                "oaid",
                                                "sha1_oaid",
                                                "md5_oaid",
                                                "tx_android_url",
                                                "sha1_el",
                                                "fire_advertising_id",
                                                "sha1_fire_advertising_id",
                                                "idfa",
                                                "md5_idfa",
                                                "tx_ios_url",
                                                "tx_ios_fallback",
                                                "sha1_idfa",
                                                "mac",
                                                "sha1_mac",
                                                "tx_banner",
                                                "tx_slk_web_endpoint",
                                                "tx_chrome_lp",
                                                "tx_android_custom_url",
                                                "tx_ios_custom_url",
                                                "tx_enc_data",
                                                "engmnt_source",
                                                "redirect_response_data",
                                                "shortlink",
                                                "advertiserId",
                                                "sha1_advertiserId",
                                                "advertiser_id",
                                                "sha1_advertiser_id",
                                                "muid",
                                                "idfv",
                                                "md5_idfv",
                                                "sha1_idfv",
                                                "tx_installpostback",
                                                "http_referrer",
                                                "tx_model",
                                                "tx_os",
                                                "md5_advertiserId",
                                                "tx_video_total_length",
                                                "tx_video_played_length",
                                                "tx_playable_played_length",
                                                "tx_ad_time_viewed",
                                                "tx_ad_displayed_percent",
                                                "tx_audio_total_length",
                                                "tx_audio_played_length"};
static_assert(std::size(linkControlKeys) == 107);

/// The fields of the text form that follow the click event, in their order.
constexpr const char* textFields[] = {"deep_link_value", "match_type", "click_http_referrer",
                                      "media_source",    "campaign",   "campaign_id",
                                      "tx_sub1",         "tx_sub2",    "tx_sub3",
                                      "tx_sub4",         "tx_sub5"};

bool isLinkControlKey(std::string_view key) {
  static const auto sorted = [] {
    auto keys = std::to_array(linkControlKeys);
    std::sort(keys.begin(), keys.end());
    return keys;
  }();
  return std::binary_search(sorted.begin(), sorted.end(), key);
}

/// Fills the long name of a field from its short one when the link has only that.
void copyAlias(const Dictionary& parameters, const char* shortName, const char* longName, Dictionary& clickEvent) {
  const Value* value = parameters.find(shortName);
  if (value != nullptr && !parameters.contains(longName)) clickEvent.set(longName, *value);
}

}  // namespace

std::shared_ptr<const TrovixDeepLink> TrovixDeepLink::withParameters(const Dictionary& answer) {
  const Value* found = answer.find("found");
  if (found == nullptr || !(*found == Value(true))) return nullptr;
  std::shared_ptr<TrovixDeepLink> link(new TrovixDeepLink());
  link->isDeferred_ = true;
  if (const Dictionary* event = answer.dictionary(linkField::clickEvent)) {
    if (const Dictionary* custom = event->dictionary(linkField::customParameters)) link->clickEvent_ = *custom;
    link->clickEvent_.merge(*event);
  }
  link->clickEvent_.removeIf([](const Dictionary::Entry& entry) {
    return entry.first == "timestamp" || entry.first == linkField::customParameters;
  });
  return link;
}

std::shared_ptr<const TrovixDeepLink> TrovixDeepLink::withVeyra(const Dictionary& parameters) {
  std::shared_ptr<TrovixDeepLink> link(new TrovixDeepLink());
  copyAlias(parameters, "c", linkField::campaign, link->clickEvent_);
  copyAlias(parameters, "pid", linkField::mediaSource, link->clickEvent_);
  link->clickEvent_.merge(parameters);
  link->clickEvent_.removeIf([](const Dictionary::Entry& entry) { return isLinkControlKey(entry.first); });
  return link;
}

std::optional<std::string> TrovixDeepLink::field(const char* key) const { return textAt(clickEvent_, key); }

std::optional<std::string> TrovixDeepLink::deeplinkValue() const { return field("deep_link_value"); }
std::optional<std::string> TrovixDeepLink::matchType() const { return field("match_type"); }
std::optional<std::string> TrovixDeepLink::clickHTTPReferrer() const { return field("click_http_referrer"); }
std::optional<std::string> TrovixDeepLink::mediaSource() const { return field(linkField::mediaSource); }
std::optional<std::string> TrovixDeepLink::campaignId() const { return field("campaign_id"); }
std::optional<std::string> TrovixDeepLink::campaign() const { return field(linkField::campaign); }
std::optional<std::string> TrovixDeepLink::txSub1() const { return field("tx_sub1"); }
std::optional<std::string> TrovixDeepLink::txSub2() const { return field("tx_sub2"); }
std::optional<std::string> TrovixDeepLink::txSub3() const { return field("tx_sub3"); }
std::optional<std::string> TrovixDeepLink::txSub4() const { return field("tx_sub4"); }
std::optional<std::string> TrovixDeepLink::txSub5() const { return field("tx_sub5"); }

std::string TrovixDeepLink::toString() const {
  Dictionary text{{linkField::clickEvent, clickEvent_}};
  for (const char* key : textFields) {
    const std::string* value = clickEvent_.string(key);
    // A field without text stays visible, as null.
    text.set(key, value == nullptr ? Value(nullptr) : Value(*value));
  }
  return txsdk_stringify(text);
}

TrovixDeepLinkResult::TrovixDeepLinkResult(std::shared_ptr<const TrovixDeepLink> deepLink, std::optional<Error> error)
    : deepLink_(std::move(deepLink)), error_(std::move(error)) {
  const Error* cause = error_ ? error_->underlyingError() : nullptr;
  if (cause != nullptr && cause->code() == platform::urlError::timedOut) {
    error_ = TXSDKError::errorWithDomain(TXSDKDeeplinkErrorDomain, resolveTimeoutCode, {}, "Resolve DeepLink timeout",
                                         std::nullopt);
  }
}

TrovixDeepLinkResultStatus TrovixDeepLinkResult::status() const noexcept {
  if (error_) return TrovixDeepLinkResultStatus::error;
  return deepLink_ != nullptr ? TrovixDeepLinkResultStatus::found : TrovixDeepLinkResultStatus::notFound;
}

}  // namespace trovix
