#include "torture/FaultPhone.h"

#include <fmt/core.h>

#include <filesystem>
#include <iterator>
#include <thread>

#include "trovix/Json.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::torture::faults {
namespace {

constexpr const char* profileOfPhone = R"json({
  "device": {"model": "iPhone", "systemName": "iOS", "systemVersion": "17.2",
             "identifierForVendor": "7D9E1B2C-4F5A-4C6B-8D7E-9F0A1B2C3D4E"},
  "bundle": {"identifier": "com.example.shop", "info": {"CFBundleVersion": "42"}, "receipt": "RGVtbyByZWNlaXB0"},
  "frameworks": {"attStatus": 3, "advertisingIdentifier": "6E0F2A51-9C3D-4B7E-A1D2-3F4E5D6C7B8A",
                 "adNetwork": true, "searchAds": [{"details": {"iad-attribution": "true"}}]},
  "integrity": {"compromised": false, "debugger": false}
})json";

// Longer than a healthy answer takes on a loaded machine.
constexpr std::uint64_t deepLinkMilliseconds = 2000;

platform::LinuxPlatformOptions optionsOfPhone(const std::string& directory, const std::string& connectTo,
                                              const std::string& authority, const std::shared_ptr<Ears>& ears) {
  platform::LinuxPlatformOptions options;
  options.dataDirectory = directory;
  options.deviceProfile = dictionaryFromJson(profileOfPhone).value_or(Dictionary());
  options.connectTo = connectTo;
  options.certificateAuthorityFile = authority;
  options.mainQueueMode = platform::MainQueueMode::ownThread;
  // The platform's own; what the application hands to the SDK is looked for when the SDK is gone.
  options.adNetworkObserver = [weak = std::weak_ptr(ears)](std::optional<std::int64_t> value) {
    if (const auto held = weak.lock()) held->hear(value ? fmt::format("value {}", *value) : "registered");
  };
  return options;
}

std::string textOfField(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value != nullptr ? description(*value) : "(missing)";
}

template <typename Condition>
bool becomesTrue(const Condition& condition, std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace

void Ears::hear(const std::string& what) {
  const platform::MutexLock lock(mutex_);
  heard_.push_back(what);
}

std::string Ears::heard() const {
  const platform::MutexLock lock(mutex_);
  std::string all;
  for (const std::string& each : heard_) all += (all.empty() ? "" : ", ") + each;
  return all;
}

void Ears::forget() {
  const platform::MutexLock lock(mutex_);
  heard_.clear();
}

Phone::Phone(const std::string& directory, const std::string& connectTo, const std::string& authority)
    : directory_(directory),
      platform_(optionsOfPhone(directory, connectTo, authority, ears_)),
      sdk_(platform_.services()) {
  sdk_.setTrovixDevKey(developerKey);
  sdk_.setAppleAppID(Value("1234567890"));
  sdk_.setAppInviteVeyra("invite");
  sdk_.setDisableCollectASA(true);
  sdk_.setMinTimeBetweenSessions(0);
  sdk_.setDeepLinkTimeout(deepLinkMilliseconds);
}

Phone::~Phone() { platform_.shutDown(); }

void Phone::setDelegate() {
  delegate_ = std::make_shared<TrovixLibDelegate>();
  delegate_->onConversionDataSuccess = [ears = ears_](const Dictionary& data) {
    ears->hear("data " + textOfField(data, "tx_status"));
  };
  delegate_->onConversionDataFail = [ears = ears_](const Error&) { ears->hear("no data"); };
  delegate_->onAppOpenAttribution = [ears = ears_](const Dictionary& data) {
    ears->hear("link " + textOfField(data, data.contains("tx_deeplink_r") ? "link" : "deep_link_value"));
  };
  delegate_->onAppOpenAttributionFailure = [ears = ears_](const Error&) { ears->hear("no link"); };
  sdk_.setDelegate(delegate_);
}

void Phone::setDeepLinkDelegate() {
  deepLinkDelegate_ = std::make_shared<TrovixDeepLinkDelegate>();
  deepLinkDelegate_->didResolveDeepLink = [ears = ears_](const TrovixDeepLinkResult& result) {
    const auto& link = result.deepLink();
    ears->hear(result.error() ? "error" : link ? "found " + link->deeplinkValue().value_or("") : "not found");
  };
  sdk_.setDeepLinkDelegate(deepLinkDelegate_);
}

void Phone::post(const char* notification) {
  platform_.services().notificationCenter.post({notification, std::nullopt});
}

bool Phone::comesToRest(std::chrono::seconds limit) const {
  return becomesTrue([this] { return platform_.isIdle(); }, limit);
}

void Phone::waitUntilCached(std::size_t count, std::chrono::seconds limit) const {
  (void)becomesTrue([this, count] { return cached() == count; }, limit);
}

std::size_t Phone::cached() const {
  std::error_code ignored;
  const std::filesystem::directory_iterator files(directory_ + "/app/Library/Caches/trovix-v1", ignored);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

}  // namespace trovix::torture::faults
