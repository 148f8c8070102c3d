#include "core/EventPayload.h"

#include <fmt/core.h>

#include <utility>

#include "common/Dates.h"
#include "common/Encoding.h"
#include "common/Log.h"
#include "common/Version.h"
#include "core/Installation.h"
#include "core/PushInformation.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "device/TXSDKDevice.h"
#include "device/TXSDKiAdClient.h"
#include "device/TXSystemInfo.h"
#include "device/TrovixUtils.h"
#include "platform/Json.h"
#include "platform/Text.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/FileSystem.h"

namespace trovix {
namespace {

// Room for every key of a payload and what the dispatch adds to it.
constexpr std::size_t usualKeyCount = 80;
constexpr std::size_t currencyCodeLength = 3;

Value orEmpty(std::optional<std::string> text) { return text ? Value(*std::move(text)) : Value(""); }

Value orNull(std::optional<std::string> text) { return text ? Value(*std::move(text)) : Value(nullptr); }

/// What an address becomes, and the name of the array that holds such.
struct EmailCipher {
  const char* arrayName;
  std::string (*apply)(std::string_view);
};

EmailCipher emailCipher(std::int32_t cryptType) {
  switch (cryptType) {
    case 0:
      return {"plain_el_arr", [](std::string_view address) { return std::string(address); }};
    case 2:
      return {"md5_el_arr", TrovixUtils::md5};
    case 3:
      return {"sha256_el_arr", TrovixUtils::sha256};
    default:
      return {"sha1_el_arr", TrovixUtils::sha1};
  }
}

std::string encodedEmails(const Array& addresses, std::int32_t cryptType) {
  const EmailCipher cipher = emailCipher(cryptType);
  Array encoded;
  encoded.reserve(addresses.size());
  for (const Value& address : addresses) {
    if (const std::string* text = address.string()) {
      encoded.emplace_back(cipher.apply(*text));
    } else {
      TX_LOG(warning, "Warning: email provided are not in the right format.");
    }
  }
  // Without a single address the plain name stands.
  const char* name = encoded.empty() ? "plain_el_arr" : cipher.arrayName;
  return txsdk_stringify({{name, std::move(encoded)}});
}

}  // namespace

TrovixDictionary EventPayload::getEventParameters(bool isLaunch) {
  TrovixDictionary payload;
  payload.dict().reserve(usualKeyCount);
  addDevice(payload);
  if (isLaunch) addLaunch(payload);
  addApplication(payload);
  addLocale(payload);
  const double now = sources_.platform.clock.now();
  payload.dict().set("timestamp", fmt::format("{:f}", now));
  payload.dict().set("tx_timestamp", fmt::format("{}", saturatingInteger(now * 1000)));
  addUser(payload);
  addSurroundings(payload);
  return payload;
}

void EventPayload::addDevice(TrovixDictionary& payload) {
  const TXSDKDevice device(sources_.platform.device);
  Settings& settings = sources_.settings;
  TXSDKStorageProtocol& storage = sources_.storage;
  Dictionary& dict = payload.dict();
  dict.set("uid", sources_.installation.getTrovixUID());
  dict.set("serverApiVersion", serverVersion);
  const double sessionDuration = storage.doubleForKey(storageKey::lastSessionDuration);
  if (sessionDuration != 0) dict.set("prev_session_dur", sessionDuration);
  if (settings.shouldCollectDeviceName()) dict.set("name", orEmpty(device.name()));
  dict.set("systemname", orEmpty(device.systemName()));
  dict.set("systemversion", orEmpty(device.systemVersion()));
  dict.set("model", orEmpty(device.model()));
  dict.set("localizedmodel", orEmpty(device.localizedModel()));
  dict.set("sc_o", TrovixUtils::deviceOrientation());
  dict.set("reinstallCounter", fmt::format("{}", storage.integerForKey(storageKey::reinstallCounter)));
  dict.set("originalTrovixId", sources_.installation.getOriginalTrovixId());
  if (auto backupInfo = storage.dictionaryForKey(storageKey::backupInfo); txsdk_exists(backupInfo)) {
    dict.set("backupInfo", *std::move(backupInfo));
  }
  dict.set("JBDevice",
           sources_.utils.isJailbrokenWithSkipAdvancedJailbreakValidation(settings.skipAdvancedJailbreakValidation));
  dict.set("tx_events_api", "1");
  dict.set("cell", Dictionary{{"mcc", TrovixUtils::readMobileCountryCode()},
                              {"mnc", TrovixUtils::readMobileNetworkCode()},
                              {"ra", TrovixUtils::readCurrentRadioAccessTechnology()}});
  dict.set("platform", orEmpty(sources_.systemInfo.machineModel()));
  dict.set("platformextension", sources_.utils.develomentPlatformName());
  dict.set("sessioncounter", fmt::format("{}", storage.sessionCnt()));
  dict.set("dev_key", settings.trovixDevKey());
  dict.set("deviceData", sources_.systemInfo.getSystemInfo());
  dict.set("disk", sources_.utils.freeDiskspace());
  if (storage.boolForKey(storageKey::stopTrackingUsed)) dict.set("istu", true);
  if (const auto partners = settings.sharingFilter()) {
    dict.set("sharing_filter", Array(partners->begin(), partners->end()));
  }
}

void EventPayload::addLaunch(TrovixDictionary& payload) {
  Dictionary& dict = payload.dict();
  const double timing = sources_.storage.doubleForKey(storageKey::conversionDataTiming);
  if (timing != 0) dict.set("gcd_timing", timing);
  dict.setIfPresent("phone", sources_.settings.phoneNumber());
  dict.set("timepassedsincelastlaunch",
           fmt::format("{}", saturatingInteger(sources_.installation.getTimePassedSinceLastLaunch())));
  dict.set("open_referrer", orEmpty(sources_.session.takeSourceApplication()));
  dict.setIfPresent("tx_deeplink", sources_.push.takeNotificationUserInfo());
}

void EventPayload::addApplication(TrovixDictionary& payload) {
  Settings& settings = sources_.settings;
  Dictionary& dict = payload.dict();
  if (settings.anonymizeUser) dict.set("deviceTrackingDisabled", "true");
  dict.set("bundleIdentifier", orEmpty(sources_.platform.bundle.identifier()));
  if (settings.disableIDFVCollection) {
    dict.set("idfv_optout", true);
  } else {
    dict.set("vendorId", orEmpty(sources_.platform.device.identifierForVendor()));
  }
  if (auto currency = settings.currencyCode()) {
    if (platform::utf16Length(*currency) != currencyCodeLength) {
      TX_LOG(warning, "Trovix WARNING: currency code should be 3 characters!!! '{}' is not a legal value.", *currency);
    }
    dict.set("currency", *std::move(currency));
  }
  const std::string shortVersion = bundleText("CFBundleShortVersionString");
  dict.set("bundleversion", bundleText("CFBundleVersion"));
  dict.set("bundlename", bundleText("CFBundleDisplayName"));
  dict.set("shortbundleversion", shortVersion);
  addDates(payload, shortVersion);
}

void EventPayload::addDates(TrovixDictionary& payload, const std::string& shortVersion) {
  Installation& installation = sources_.installation;
  const platform::Platform& platform = sources_.platform;
  std::string date1 = installation.getInstallDate();
  TX_LOG(debug, "Looking for previous version date");
  const std::optional<double> modified = platform.fileSystem.modificationTime(platform.directories.temporary());
  std::string date2 = modified ? TXSDKDateString(*modified, platform.locale) : "";
  std::string date3 = installation.getVersionUpdateDate(shortVersion, date2);
  TX_LOG(debug, "date1: {}", date1);
  TX_LOG(debug, "date2: {}", date2);
  TX_LOG(debug, "date3: {}", date3);
  Dictionary& dict = payload.dict();
  dict.set("date1", std::move(date1));
  dict.set("date2", std::move(date2));
  dict.set("date3", std::move(date3));
  dict.set("firstLaunchDate", installation.getFirstLaunchDate());
  dict.set("date1_2", TXSDKDateString(installation.installDate(), platform.locale));
}

void EventPayload::addLocale(TrovixDictionary& payload) {
  const platform::Locale& locale = sources_.platform.locale;
  Dictionary& dict = payload.dict();
  dict.set("currentLanguage", orEmpty(locale.preferredLanguage()));
  dict.set("lang_code", orEmpty(locale.languageCode()));
  dict.set("currentCountrycode", orEmpty(locale.countryCode()));
}

void EventPayload::addUser(TrovixDictionary& payload) {
  Settings& settings = sources_.settings;
  Dictionary& dict = payload.dict();
  dict.setIfPresent("appUID", settings.customerUserID());
  if (const auto customData = settings.customData()) {
    if (auto json = platform::writeJson(*customData)) {
      dict.set("customData", std::move(json).value());
    } else {
      TX_LOG(warning, "customData is not valid json data");
    }
  }
  const Settings::UserEmails emails = settings.userEmails();
  if (emails.addresses && !emails.addresses->empty()) {
    dict.set("user_emails", encodedEmails(*emails.addresses, emails.cryptType));
  }
}

void EventPayload::addSurroundings(TrovixDictionary& payload) {
  Settings& settings = sources_.settings;
  TXSDKStorageProtocol& storage = sources_.storage;
  Dictionary& dict = payload.dict();
  dict.set("wifi", sources_.utils.isWifiAvailable());
  if (settings.VPNCollectionEnabled) dict.set("ivc", sources_.utils.isVPNConnected());
  if (auto searchAds = storage.dictionaryForKey(storageKey::searchAdsAttribution)) {
    dict.set("tx_iad_data", *std::move(searchAds));
  } else {
    TX_LOG(debug, "iAD: iSearchAdsDict is nil");
  }
  if (auto inviteID = settings.appInviteVeyraID()) {
    dict.set("veyra_id", *std::move(inviteID));
    dict.setIfPresent("veyra_ver", storage.stringForKey(storageKey::linkVersion));
  }
  if (settings.isAppClip) {
    dict.set("app_type", "app_clip");
    storage.setBool(true, storageKey::isAppClip);
  } else if (storage.boolForKey(storageKey::isAppClip)) {
    dict.set("wac", true);
  }
}

std::string EventPayload::bundleText(std::string_view key) const {
  const std::optional<Value> value = sources_.platform.bundle.infoValue(key);
  return value ? description(*value) : "";
}

void EventPayload::eventParametersInBackgroundQueueAndType(int /*type*/,
                                                           std::function<void(Dictionary)> completionHandler) {
  sources_.serial.post(sources_.lifetime.guard([this, completionHandler = std::move(completionHandler)]() mutable {
    requestBackgroundParameters(std::move(completionHandler));
  }));
}

void EventPayload::requestBackgroundParameters(std::function<void(Dictionary)> completionHandler) {
  Installation& installation = sources_.installation;
  const platform::Platform& platform = sources_.platform;
  const auto shortVersion = platform.bundle.infoValue("CFBundleShortVersionString");
  Dictionary parameters{
      {"tx_timestamp", saturatingInteger(platform.clock.now() * 1000)},
      {"tx_key", sources_.settings.trovixDevKey()},
      {"uid", installation.getTrovixUID()},
      {"install_date", TXSDKDateString(installation.installDate(), platform.locale)},
      {"app_version_code", shortVersion.value_or(nullptr)},
      {"first_launch_date", installation.getFirstLaunchDate()},
      {"launch_counter", sources_.storage.launchCnt()},
      {"sc_o", TrovixUtils::deviceOrientation()},
      {"device", orNull(platform.device.model())},
  };
  sources_.iAdClient.requestIDWithCompletionHandler(
      [parameters = std::move(parameters),
       completionHandler = std::move(completionHandler)](const AdvertisingIdentity& identity) mutable {
        parameters.set("idfa", identity.identifier);
        parameters.set("idfa_enabled", identity.isTrackingEnabled);
        parameters.set("load_framework_result", orNull(identity.reason));
        if (completionHandler) completionHandler(std::move(parameters));
      });
}

}  // namespace trovix
