#include "platform/linux/LinuxFrameworks.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/Mutex.h"
#include "platform/linux/DeviceProfile.h"

namespace trovix::platform {
namespace {

constexpr const char* section = "frameworks";
constexpr const char* searchAdsErrorDomain = "ADClientErrorDomain";
constexpr const char* attributionErrorDomain = "AAAttributionErrorDomain";

struct Framework {
  std::string_view path;
  /// Names of its facts; an unused place is empty.
  std::array<std::string_view, 2> facts;
};
constexpr Framework adSupport{"/System/Library/Frameworks/AdSupport.framework/AdSupport",
                              {"advertisingIdentifier", "advertisingTrackingEnabled"}};
constexpr Framework appTrackingTransparency{
    "/System/Library/Frameworks/AppTrackingTransparency.framework/AppTrackingTransparency", {"attStatus"}};
constexpr Framework iAd{"/System/Library/Frameworks/iAd.framework/iAd", {"searchAds"}};
constexpr Framework adServices{"/System/Library/Frameworks/AdServices.framework/AdServices", {"attributionToken"}};
constexpr Framework storeKit{"/System/Library/Frameworks/StoreKit.framework/StoreKit", {"adNetwork"}};

/// Whether the profile has any of the framework's facts. An ad network that is false is not there.
bool isThere(const DeviceProfile& profile, const Framework& framework) {
  const auto snapshot = profile.snapshot();
  return std::any_of(framework.facts.begin(), framework.facts.end(), [&](std::string_view name) {
    const Value* fact = factAt(*snapshot, {section, name});
    return fact != nullptr && (framework.path != storeKit.path || fact->boolValue());
  });
}

class ProfileIdentifierManager : public ASIdentifierManager {
 public:
  explicit ProfileIdentifierManager(const DeviceProfile& profile) : profile_(profile) {}
  [[nodiscard]] bool isAdvertisingTrackingEnabled() const override {
    return profile_.boolean({section, "advertisingTrackingEnabled"}).value_or(false);
  }
  [[nodiscard]] std::optional<std::string> advertisingIdentifier() const override {
    return profile_.string({section, "advertisingIdentifier"});
  }

 private:
  const DeviceProfile& profile_;
};

class ProfileTrackingManager : public ATTrackingManager {
 public:
  explicit ProfileTrackingManager(const DeviceProfile& profile) : profile_(profile) {}
  [[nodiscard]] std::optional<std::int64_t> trackingAuthorizationStatus() const override {
    return profile_.integer({section, "attStatus"});
  }

 private:
  const DeviceProfile& profile_;
};

class ProfileADClient : public ADClient {
 public:
  explicit ProfileADClient(const DeviceProfile& profile) : profile_(profile) {}

  [[nodiscard]] bool respondsToRequestAttributionDetails() const override { return !answers().empty(); }

  void requestAttributionDetails(std::function<void(Result<Dictionary>)> completion) override {
    completion(nextAnswer());
  }

 private:
  [[nodiscard]] Array answers() const {
    const auto value = profile_.value({section, "searchAds"});
    return value && value->array() != nullptr ? *value->array() : Array();
  }

  Result<Dictionary> nextAnswer() {
    Array current = answers();
    const MutexLock lock(mutex_);
    // Other answers than before start with the first again.
    if (!(Value(current) == Value(answers_))) attempts_ = 0;
    answers_ = std::move(current);
    const std::size_t attempt = attempts_++;
    if (answers_.empty()) return Error(searchAdsErrorDomain, 0);
    const Dictionary* answer = answers_[std::min(attempt, answers_.size() - 1)].dictionary();
    if (answer == nullptr) return Error(searchAdsErrorDomain, 0);
    if (const Dictionary* details = answer->dictionary("details")) return *details;
    return Error(searchAdsErrorDomain, wholeNumber(answer->find("error")).value_or(0));
  }

  const DeviceProfile& profile_;
  Mutex mutex_;
  Array answers_ TX_GUARDED_BY(mutex_);
  std::size_t attempts_ TX_GUARDED_BY(mutex_) = 0;
};

class ProfileAttribution : public AAAttribution {
 public:
  explicit ProfileAttribution(const DeviceProfile& profile) : profile_(profile) {}

  [[nodiscard]] bool respondsToAttributionToken() const override {
    const auto fact = profile_.value({section, "attributionToken"});
    return fact && (fact->string() != nullptr || fact->dictionary() != nullptr);
  }

  Result<std::string> attributionToken() override {
    const auto snapshot = profile_.snapshot();
    const Value* fact = factAt(*snapshot, {section, "attributionToken"});
    if (fact != nullptr && fact->string() != nullptr) return *fact->string();
    const Dictionary* failure = fact != nullptr ? fact->dictionary() : nullptr;
    if (failure == nullptr) return Error(attributionErrorDomain, 0);
    Dictionary userInfo;
    if (const std::string* reason = failure->string("reason")) {
      userInfo.set(Error::localizedDescriptionKey, Value(*reason));
    }
    return Error(attributionErrorDomain, wholeNumber(failure->find("code")).value_or(0), std::move(userInfo));
  }

 private:
  const DeviceProfile& profile_;
};

class ObservedAdNetwork : public SKAdNetworkClass {
 public:
  explicit ObservedAdNetwork(LinuxFrameworks::AdNetworkObserver observer) : observer_(std::move(observer)) {}

  [[nodiscard]] bool respondsToRegisterApp() const override { return true; }
  void registerAppForAdNetworkAttribution() override {
    if (observer_) observer_(std::nullopt);
  }
  [[nodiscard]] bool respondsToUpdateConversionValue() const override { return true; }
  void updateConversionValue(std::int64_t value) override {
    if (observer_) observer_(value);
  }

 private:
  const LinuxFrameworks::AdNetworkObserver observer_;
};

}  // namespace

LinuxFrameworks::LinuxFrameworks(const DeviceProfile& profile, AdNetworkObserver adNetworkObserver)
    : profile_(profile),
      identifierManager_(std::make_unique<ProfileIdentifierManager>(profile)),
      trackingManager_(std::make_unique<ProfileTrackingManager>(profile)),
      adClient_(std::make_unique<ProfileADClient>(profile)),
      attribution_(std::make_unique<ProfileAttribution>(profile)),
      adNetwork_(std::make_unique<ObservedAdNetwork>(std::move(adNetworkObserver))) {}

LinuxFrameworks::~LinuxFrameworks() = default;

bool LinuxFrameworks::open(const std::string& path) {
  for (const Framework* framework : {&adSupport, &appTrackingTransparency, &iAd, &adServices, &storeKit}) {
    if (framework->path == path) return isThere(profile_, *framework);
  }
  return false;
}

ASIdentifierManager* LinuxFrameworks::identifierManager() {
  return isThere(profile_, adSupport) ? identifierManager_.get() : nullptr;
}
ATTrackingManager* LinuxFrameworks::trackingManager() {
  return isThere(profile_, appTrackingTransparency) ? trackingManager_.get() : nullptr;
}
ADClient* LinuxFrameworks::adClient() { return isThere(profile_, iAd) ? adClient_.get() : nullptr; }
AAAttribution* LinuxFrameworks::attribution() { return isThere(profile_, adServices) ? attribution_.get() : nullptr; }
SKAdNetworkClass* LinuxFrameworks::adNetwork() { return isThere(profile_, storeKit) ? adNetwork_.get() : nullptr; }

}  // namespace trovix::platform
