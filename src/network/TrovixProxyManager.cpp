#include "network/TrovixProxyManager.h"

#include <fmt/core.h>

#include <utility>

#include "common/Dates.h"
#include "common/Encoding.h"
#include "common/Log.h"
#include "common/Version.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"

namespace trovix {
namespace {

// Whose mirror the log has; a manager that another one followed leaves that one's mirror alone.
std::atomic<TrovixProxyManager*> mirroring{nullptr};

void takeLine(void* context, std::int32_t level, std::string_view method, std::string_view message) {
  addLogEvent(*static_cast<TrovixProxyManager*>(context), level, method, message);
}

}  // namespace

TrovixProxyManager::TrovixProxyManager(const platform::Clock& clock, const platform::Locale& locale,
                                       TXSDKStorageProtocol& storage)
    : clock_(clock), locale_(locale), storage_(storage) {}

TrovixProxyManager::~TrovixProxyManager() {
  TrovixProxyManager* self = this;
  if (!mirroring.compare_exchange_strong(self, nullptr)) return;
  logging::setMirroring(false);
  logging::installMirror({});
}

void TrovixProxyManager::attach(RemoteDebugHost* host) {
  host_ = host;
  mirroring = this;
  logging::installMirror({.take = takeLine, .context = this});
  updateMirror();
}

bool TrovixProxyManager::isRemoteDebugging() const noexcept {
  return (proxyEnabledFromServer_ || shouldCollectDebugData_) && !proxyManagerDisabled_;
}

void TrovixProxyManager::setProxyManagerDisabled(bool flag) noexcept {
  proxyManagerDisabled_ = flag;
  updateMirror();
}

void TrovixProxyManager::updateMirror() noexcept {
  // Two changes at once must not leave the older answer behind.
  const platform::MutexLock lock(mutex_);
  if (mirroring == this) logging::setMirroring(acceptsLines());
}

void TrovixProxyManager::startRemoteDebugging() {
  addEventWithString("Turning ON RD");
  proxyEnabledFromServer_ = true;
  shouldCollectDebugData_ = true;
  updateMirror();
}

void TrovixProxyManager::stopRemoteDebugging() {
  addEventWithString("Turning OFF RD");
  proxyEnabledFromServer_ = false;
  shouldCollectDebugData_ = false;
  updateMirror();
}

void TrovixProxyManager::clearData() {
  std::vector<std::string> cleared;
  {
    const platform::MutexLock lock(mutex_);
    cleared.swap(events_);
  }
  requestSize_ = 0;
  updateMirror();
}

void TrovixProxyManager::addEventWithString(std::string_view text) {
  if (!acceptsLines()) return;
  std::string line = fmt::format("{:>18} {}", TXSDKDateStringRD(clock_.now(), locale_), text);
  requestSize_ += static_cast<std::int32_t>(line.size());
  {
    const platform::MutexLock lock(mutex_);
    events_.push_back(std::move(line));
  }
  // Without an answer of the server nothing empties the lines; the log sites need not write what would be dropped.
  if (!acceptsLines()) updateMirror();
}

void TrovixProxyManager::sendRemoteDebuggingDataWithModel(const std::string& model, const std::string& systemVersion) {
  RemoteDebugHost* const host = host_;
  if (proxyManagerDisabled_ || host == nullptr) return;
  loadStaticDataWithModel(model, systemVersion);
  host->remoteDebuggingCallWithData(getJSONString());
  clearData();
}

std::string TrovixProxyManager::getJSONString() {
  Dictionary document;
  {
    const platform::MutexLock lock(mutex_);
    document = proxyRdDict_;
    document.set("data", Array(events_.begin(), events_.end()));
  }
  return txsdk_stringify(document);
}

void TrovixProxyManager::loadStaticDataWithModel(const std::string& model, const std::string& systemVersion) {
  const std::string launchCounter = storage_.stringForKey(storageKey::launchCounter).value_or("-1");
  if (const auto stored = storage_.dictionaryForKey(storageKey::remoteDebugStaticData); txsdk_exists(stored)) {
    setProxyEntries(*stored);
    setProxyEntries({{"launch_counter", launchCounter}});
    return;
  }
  RemoteDebugHost* const host = host_;
  if (host == nullptr) return;
  const std::string uid = host->trovixUID();
  setDeviceDataWithModel(model, systemVersion, "n/a");
  setSDKDataWithVersion(sdkVersion, host->devKey(), storage_.stringForKey(storageKey::originalUserId).value_or(uid),
                        uid, launchCounter);
  setAppDataWithAppId(host->appleAppID(), host->appVersion());

  Dictionary frozen;
  {
    const platform::MutexLock lock(mutex_);
    frozen = proxyRdDict_;
  }
  storage_.setDictionary(frozen, storageKey::remoteDebugStaticData);
}

void TrovixProxyManager::setDeviceDataWithModel(const std::string& model, const std::string& osVersion,
                                                const std::string& advId) {
  setProxyEntries({{"brand", "Apple"},
                   {"model", model},
                   {"platform", "iOS"},
                   {"platform_version", osVersion},
                   {"advertiserId", advId}});
}

void TrovixProxyManager::setSDKDataWithVersion(const std::string& version, const std::string& devKey,
                                               const std::string& originalTXUID, const std::string& TXUID,
                                               const std::string& launchCounter) {
  setProxyEntries({{"sdk_version", version},
                   {"devkey", devKey},
                   {"originalTrovixId", originalTXUID},
                   {"uid", TXUID},
                   {"launch_counter", launchCounter}});
}

void TrovixProxyManager::setAppDataWithAppId(const std::string& appId, const std::string& appVersion) {
  setProxyEntries({{"app_id", appId}, {"app_version", appVersion}});
}

void TrovixProxyManager::setProxyEntries(const Dictionary& entries) {
  const platform::MutexLock lock(mutex_);
  proxyRdDict_.merge(entries);
}

void addLogEvent(TrovixProxyManager& manager, std::int32_t level, std::string_view functionName,
                 std::string_view message) {
  if (!manager.acceptsLines()) return;
  manager.addEventWithString(
      fmt::format("({}) {} {}: {}", timeToString(), levelToString(level), functionName, message));
}

}  // namespace trovix
