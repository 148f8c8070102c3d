#include "core/Installation.h"

#include <fmt/core.h>

#include <cmath>

#include "common/Counter.h"
#include "common/Dates.h"
#include "common/Log.h"
#include "device/TrovixUtils.h"
#include "platform/Crypto.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKKeychainProtocol.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/FileSystem.h"

namespace trovix {
namespace {

constexpr const char* withheldVendorIdentifier = "00000000-0000-0000-0000-000000000000";
constexpr std::size_t vendorDigits = 7;

std::string leadingDigits(std::string_view text) {
  std::string digits;
  for (const char c : text) {
    if (c < '0' || c > '9') continue;
    digits.push_back(c);
    if (digits.size() == vendorDigits) break;
  }
  return digits;
}

}  // namespace

Installation::Installation(platform::Platform& platform, TXSDKStorageProtocol& storage, TXSDKKeychainProtocol& keychain)
    : platform_(platform), device_(platform.device), storage_(storage), keychain_(keychain) {}

double Installation::installDate() {
  std::call_once(installDateOnce_, [this] {
    const double now = platform_.clock.now();
    const bool isSandboxMoved = TrovixUtils::txsdk_mac_os_sandbox_container() == 2;
    installDate_ =
        isSandboxMoved ? now : platform_.fileSystem.creationTime(platform_.directories.library()).value_or(now);
    if (!std::isfinite(installDate_)) installDate_ = now;
  });
  return installDate_;
}

std::string Installation::getTrovixUID() {
  std::call_once(uidOnce_, [this] { uid_ = computeTrovixUID(); });
  return uid_;
}

std::string Installation::computeTrovixUID() {
  if (auto stored = storage_.stringForKey(storageKey::userId); txsdk_exists(stored)) return *std::move(stored);
  std::string vendor = device_.identifierForVendor().value_or("1");
  if (vendor == withheldVendorIdentifier) vendor = platform::randomUUIDString();
  std::string uid = fmt::format("{:.0f}-{}", installDate() * 1000, leadingDigits(vendor));
  storage_.setString(uid, storageKey::userId);
  storage_.save();
  return uid;
}

std::string Installation::getOriginalTrovixId() {
  std::call_once(originalIdOnce_, [this] { originalId_ = resolveOriginalTrovixID(originalIdStatus_); });
  return originalId_;
}

Installation::OriginalIdStatus Installation::originalIdStatus() {
  static_cast<void>(getOriginalTrovixId());
  return originalIdStatus_;
}

std::string Installation::resolveOriginalTrovixID(OriginalIdStatus& status) {
  const std::optional<std::string> stored = storage_.stringForKey(storageKey::originalUserId);
  const std::string reinstalls = storage_.stringForKey(storageKey::reinstallCounter).value_or("0");
  const std::optional<std::string> kept = keychain_.stringForKey(TXSDKKeychainProtocol::trovixIdKey);
  const bool isStored = txsdk_exists(stored);
  const bool isKept = txsdk_exists(kept);
  if ((isStored && isKept) || (stored && stored == kept)) {
    status = OriginalIdStatus::stored;
    return *stored;
  }
  if (!isStored && !isKept) {
    std::string uid = getTrovixUID();
    keychain_.setString(uid, TXSDKKeychainProtocol::trovixIdKey);
    storage_.setString(uid, storageKey::originalUserId);
    status = OriginalIdStatus::fresh;
    return uid;
  }
  if (isKept) {
    storage_.setString(*kept, storageKey::originalUserId);
    countReinstall();
    status = OriginalIdStatus::reinstalled;
    return *kept;
  }
  keychain_.setString(*stored, TXSDKKeychainProtocol::trovixIdKey);
  keychain_.setString(reinstalls, TXSDKKeychainProtocol::reinstallCounterKey);
  resolveBackupInfo();
  status = OriginalIdStatus::restored;
  return *stored;
}

void Installation::countReinstall() {
  const std::string counter = keychain_.stringForKey(TXSDKKeychainProtocol::reinstallCounterKey).value_or("0");
  const std::int64_t reinstalls = successor(Value(counter).integerValue());
  keychain_.setString(fmt::format("{}", reinstalls), TXSDKKeychainProtocol::reinstallCounterKey);
  storage_.setInteger(reinstalls, storageKey::reinstallCounter);
}

void Installation::resolveBackupInfo() {
  const std::optional<Dictionary> info = storage_.dictionaryForKey(storageKey::backupInfo);
  const Value* count = info ? info->find("cnt") : nullptr;
  storage_.setDictionary({{"cnt", successor(count != nullptr ? count->integerValue() : 0)},
                          {"ts", saturatingInteger(std::round(platform_.clock.now()))}},
                         storageKey::backupInfo);
}

double Installation::getTimePassedSinceLastLaunch() {
  const double previous = storage_.doubleForKey(storageKey::previousLaunchTime);
  const double now = platform_.clock.now();
  const double passed = previous > 0 ? now - previous : -1;
  storage_.setDouble(now, storageKey::previousLaunchTime);
  storage_.save();
  return std::round(passed);
}

std::string Installation::getVersionUpdateDate(const std::string& newVersion, const std::string& currentUpdateDate) {
  const std::optional<std::string> version = storage_.stringForKey(storageKey::lastVersion);
  TX_LOG(debug, "Current cached application version: {}, new version: {}", description(version), newVersion);
  if (version == newVersion) {
    TX_LOG(debug, "Use date3 from storage");
    return storage_.stringForKey(storageKey::date3).value_or("");
  }
  TX_LOG(debug, "First Trovix SDK launch or new version detected");
  // An answer that comes in meanwhile must not be overwritten by the verdict before it.
  storage_.updateArchived(storageKey::conversionData, [](Dictionary& data) { data.set("is_first_launch", false); });
  storage_.setString(newVersion, storageKey::lastVersion);
  storage_.setString(currentUpdateDate, storageKey::date3);
  storage_.save();
  return currentUpdateDate;
}

std::string Installation::getFirstLaunchDate() {
  std::optional<std::string> date = storage_.stringForKey(storageKey::firstLaunchDate);
  if (!date) {
    date = TXSDKDateString(platform_.clock.now(), platform_.locale);
    TX_LOG(debug, "Generate first launch date: {}", *date);
    storage_.setString(*date, storageKey::firstLaunchDate);
    storage_.save();
  }
  TX_LOG(debug, "First launch date: {}", *date);
  return *std::move(date);
}

std::string Installation::getInstallDate() {
  if (auto stored = storage_.stringForKey(storageKey::installDate)) return *std::move(stored);
  TX_LOG(debug, "Installation detected");
  std::string date = TXSDKDateString(installDate(), platform_.locale);
  storage_.setString(date, storageKey::installDate);
  return date;
}

}  // namespace trovix
