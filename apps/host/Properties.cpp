#include "host/Properties.h"

#include <algorithm>

namespace trovix::host {
namespace {

using quorrel::QuorrelCore;
using Strings = std::vector<std::string>;

// JSON to the facade's types: null is nil; a value of another type reads as leniently as user defaults do.
std::optional<std::string> asString(const Value& value) {
  if (value.isNull()) return std::nullopt;
  return description(value);
}

std::optional<Strings> asStrings(const Value& value) {
  if (value.array() == nullptr) return std::nullopt;
  Strings strings;
  for (const Value& entry : *value.array()) strings.push_back(description(entry));
  return strings;
}

std::uint64_t asUnsigned(const Value& value) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(value.integerValue(), 0));
}

Value fromUnsigned(std::uint64_t number) { return Value(number); }

std::optional<Value> fromStrings(const std::optional<Strings>& strings) {
  if (!strings) return std::nullopt;
  Array array;
  for (const std::string& entry : *strings) array.emplace_back(entry);
  return Value(std::move(array));
}

template <typename T>
std::optional<Value> fromOptional(std::optional<T> value) {
  if (!value) return std::nullopt;
  return Value(*std::move(value));
}

Property flag(const char* name, bool (TrovixLib::*get)() const, void (TrovixLib::*set)(bool)) {
  return {name, [set](TrovixLib& sdk, const Value& value) { (sdk.*set)(value.boolValue()); },
          [get](TrovixLib& sdk, QuorrelCore&) { return Value((sdk.*get)()); }};
}

Property text(const char* name, std::optional<std::string> (TrovixLib::*get)() const,
              void (TrovixLib::*set)(std::optional<std::string>)) {
  return {name, [set](TrovixLib& sdk, const Value& value) { (sdk.*set)(asString(value)); },
          [get](TrovixLib& sdk, QuorrelCore&) { return fromOptional((sdk.*get)()); }};
}

Property strings(const char* name, std::optional<Strings> (TrovixLib::*get)() const,
                 void (TrovixLib::*set)(std::optional<Strings>)) {
  return {name, [set](TrovixLib& sdk, const Value& value) { (sdk.*set)(asStrings(value)); },
          [get](TrovixLib& sdk, QuorrelCore&) { return fromStrings((sdk.*get)()); }};
}

Property number(const char* name, std::uint64_t (TrovixLib::*get)() const, void (TrovixLib::*set)(std::uint64_t)) {
  return {name, [set](TrovixLib& sdk, const Value& value) { (sdk.*set)(asUnsigned(value)); },
          [get](TrovixLib& sdk, QuorrelCore&) { return fromUnsigned((sdk.*get)()); }};
}

void setUserEmails(TrovixLib& sdk, const Value& value) {
  const Dictionary none;
  const Dictionary& fields = value.dictionary() != nullptr ? *value.dictionary() : none;
  const Array* emails = fields.array("emails");
  const Value* type = fields.find("type");
  const std::int64_t cryptType = type != nullptr ? type->integerValue() : 0;
  sdk.setUserEmails(emails != nullptr ? std::optional(*emails) : std::nullopt,
                    static_cast<std::int32_t>(std::clamp<std::int64_t>(cryptType, INT32_MIN, INT32_MAX)));
}

std::optional<Value> getUserEmails(TrovixLib& sdk, QuorrelCore&) {
  const auto emails = sdk.userEmails();
  if (!emails) return std::nullopt;
  return Value(Dictionary{{"emails", *emails}, {"type", sdk.emailCryptType()}});
}

void setHost(TrovixLib& sdk, const Value& value) {
  const Array none;
  const Array& parts = value.array() != nullptr ? *value.array() : none;
  sdk.setHost(!parts.empty() ? asString(parts[0]) : std::nullopt, parts.size() > 1 ? asString(parts[1]) : std::nullopt);
}

Value retrievedAttributes(const QuorrelCore& core) {
  Array list;
  for (const auto& info : core.retrievedAttributes()) {
    list.emplace_back(Dictionary{{"sourceType", static_cast<std::uint64_t>(info.sourceType)},
                                 {"source", quorrel::AttributionRetrieveSourceExt::sourceNameForSouce(info.sourceType)},
                                 {"attribution", info.attribution}});
  }
  return list;
}

Value trackerIds(const QuorrelCore& core) {
  Array list;
  for (const auto& info : core.trackerIds()) {
    list.emplace_back(Dictionary{{"sourceType", static_cast<std::uint64_t>(info.sourceType)},
                                 {"source", quorrel::AttributionRetrieveSourceExt::sourceNameForSouce(info.sourceType)},
                                 {"trackerId", info.trackerId}});
  }
  return list;
}

std::vector<Property> makeTexts() {
  return {
      {"trovixDevKey", [](TrovixLib& sdk, const Value& value) { sdk.setTrovixDevKey(asString(value)); },
       [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.trovixDevKey()); }},
      {"appleAppID",
       [](TrovixLib& sdk, const Value& value) {
         sdk.setAppleAppID(value.isNull() ? std::nullopt : std::optional(value));
       },
       [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.appleAppID()); }},
      {"phoneNumber", [](TrovixLib& sdk, const Value& value) { sdk.setPhoneNumber(asString(value)); },
       [](TrovixLib& sdk, QuorrelCore&) { return fromOptional(sdk.phoneNumber()); }},
      {"customData",
       [](TrovixLib& sdk, const Value& value) {
         sdk.setAdditionalData(value.dictionary() != nullptr ? std::optional(*value.dictionary()) : std::nullopt);
       },
       [](TrovixLib& sdk, QuorrelCore&) { return fromOptional(sdk.customData()); }},
      {"userEmails", setUserEmails, getUserEmails},
      {"host", setHost, [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.host()); }},
      {"hostPrefix", {}, [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.hostPrefix()); }},
      {"sharingFilter", [](TrovixLib& sdk, const Value& value) { sdk.setSharingFilter(asStrings(value)); },
       [](TrovixLib& sdk, QuorrelCore&) { return fromStrings(sdk.sharingFilter()); }},
      {"isTrace", [](TrovixLib& sdk, const Value& value) { sdk.setIsTrace(value.boolValue()); }, {}},
      {"advertisingIdentifier",
       {},
       [](TrovixLib& sdk, QuorrelCore&) { return fromOptional(sdk.advertisingIdentifier()); }},
      {"getTrovixUID", {}, [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.getTrovixUID()); }},
      {"getOriginalTrovixId", {}, [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.getOriginalTrovixId()); }},
      {"getSDKVersion", {}, [](TrovixLib& sdk, QuorrelCore&) { return Value(sdk.getSDKVersion()); }},
      {"readyStatus", {}, [](TrovixLib&, QuorrelCore& core) { return Value(core.readyStatus()); }},
      {"retrievedAttributes", {}, [](TrovixLib&, QuorrelCore& core) { return retrievedAttributes(core); }},
      {"trackerIds", {}, [](TrovixLib&, QuorrelCore& core) { return trackerIds(core); }},
  };
}

std::vector<Property> makeProperties() {
  using T = TrovixLib;
  std::vector<Property> all = makeTexts();
  const std::vector<Property> plain{
      text("customerUserID", &T::customerUserID, &T::setCustomerUserID),
      text("currencyCode", &T::currencyCode, &T::setCurrencyCode),
      text("appInviteVeyraID", &T::appInviteVeyraID, &T::setAppInviteVeyra),
      text("facebookDeferredAppLink", &T::facebookDeferredAppLink, &T::setFacebookDeferredAppLink),
      strings("resolveDeepLinkURLs", &T::resolveDeepLinkURLs, &T::setResolveDeepLinkURLs),
      strings("veyraCustomDomains", &T::veyraCustomDomains, &T::setVeyraCustomDomains),
      number("minTimeBetweenSessions", &T::minTimeBetweenSessions, &T::setMinTimeBetweenSessions),
      number("deepLinkTimeout", &T::deepLinkTimeout, &T::setDeepLinkTimeout),
      flag("disableAdvertisingIdentifier", &T::disableAdvertisingIdentifier, &T::setDisableAdvertisingIdentifier),
      flag("disableAppleAdsAttribution", &T::disableAppleAdsAttribution, &T::setDisableAppleAdsAttribution),
      flag("disableCollectASA", &T::disableCollectASA, &T::setDisableCollectASA),
      flag("disableSKAdNetwork", &T::disableSKAdNetwork, &T::setDisableSKAdNetwork),
      flag("disableIDFVCollection", &T::disableIDFVCollection, &T::setDisableIDFVCollection),
      flag("isBackgroundRequestEnabled", &T::isBackgroundRequestEnabled, &T::setIsBackgroundRequestEnabled),
      flag("isDebug", &T::isDebug, &T::setIsDebug),
      flag("isStopped", &T::isStopped, &T::setIsStopped),
      flag("isProxyManagerDisabled", &T::isProxyManagerDisabled, &T::setProxyManagerDisabled),
      flag("shouldCollectDeviceName", &T::shouldCollectDeviceName, &T::setShouldCollectDeviceName),
      flag("anonymizeUser", &T::anonymizeUser, &T::setAnonymizeUser),
      flag("useReceiptValidationSandbox", &T::useReceiptValidationSandbox, &T::setUseReceiptValidationSandbox),
      flag("useUninstallSandbox", &T::useUninstallSandbox, &T::setUseUninstallSandbox),
  };
  all.insert(all.end(), plain.begin(), plain.end());
  return all;
}

}  // namespace

const std::vector<Property>& properties() {
  static const std::vector<Property> all = makeProperties();
  return all;
}

const Property* findProperty(std::string_view name) {
  const auto& all = properties();
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const Property& property) { return property.name == name; });
  return found == all.end() ? nullptr : &*found;
}

}  // namespace trovix::host
