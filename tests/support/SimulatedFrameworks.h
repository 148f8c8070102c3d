#pragma once

#include <deque>
#include <map>
#include <set>

#include "trovix/platform/ClassRegistry.h"
#include "trovix/platform/Frameworks.h"
#include "trovix/platform/Queues.h"

namespace trovix::test {

struct SimulatedIdentifierManager final : platform::ASIdentifierManager {
  bool isAdvertisingTrackingEnabled() const override { return true; }
  std::optional<std::string> advertisingIdentifier() const override { return identifier; }

  std::optional<std::string> identifier = "7D3E5B21-90AC-4F6E-B1D8-0A4C9E6F2357";
};

struct SimulatedTrackingManager final : platform::ATTrackingManager {
  std::optional<std::int64_t> trackingAuthorizationStatus() const override { return status; }

  std::optional<std::int64_t> status = 3;
};

struct SimulatedADClient final : platform::ADClient {
  explicit SimulatedADClient(platform::Queues& queues) : queues_(queues) {}

  bool respondsToRequestAttributionDetails() const override { return true; }
  void requestAttributionDetails(std::function<void(Result<Dictionary>)> completion) override;

  /// Answers on the global queue, in order; the last one stays.
  std::deque<Result<Dictionary>> answers{Dictionary{{"Version3.1", Dictionary{{"iad-attribution", "false"}}}}};
  std::size_t requestCount = 0;

 private:
  platform::Queues& queues_;
};

struct SimulatedAttribution final : platform::AAAttribution {
  bool respondsToAttributionToken() const override { return responds; }
  Result<std::string> attributionToken() override { return token; }

  bool responds = true;
  Result<std::string> token = std::string("attribution-token");
};

struct SimulatedAdNetwork final : platform::SKAdNetworkClass {
  bool respondsToRegisterApp() const override { return canRegister; }
  void registerAppForAdNetworkAttribution() override { ++registrationCount; }
  bool respondsToUpdateConversionValue() const override { return true; }
  void updateConversionValue(std::int64_t value) override { values.push_back(value); }

  bool canRegister = true;
  std::size_t registrationCount = 0;
  std::vector<std::int64_t> values;
};

/// All five are there unless their name is in `missing`.
class SimulatedFrameworks final : public platform::Frameworks {
 public:
  explicit SimulatedFrameworks(platform::Queues& queues) : searchAds(queues) {}

  bool open(const std::string& path) override;
  platform::ASIdentifierManager* identifierManager() override { return classOf("AdSupport", identifiers); }
  platform::ATTrackingManager* trackingManager() override { return classOf("AppTrackingTransparency", tracking); }
  platform::ADClient* adClient() override { return classOf("iAd", searchAds); }
  platform::AAAttribution* attribution() override { return classOf("AdServices", tokens); }
  platform::SKAdNetworkClass* adNetwork() override { return classOf("StoreKit", network); }

  /// Frameworks that do not load, by name: "AdSupport", "AppTrackingTransparency", "iAd", "AdServices", "StoreKit".
  std::set<std::string> missing;
  /// Paths, in the order in which they were opened.
  std::vector<std::string> opened;
  SimulatedIdentifierManager identifiers;
  SimulatedTrackingManager tracking;
  SimulatedADClient searchAds;
  SimulatedAttribution tokens;
  SimulatedAdNetwork network;

 private:
  template <typename T>
  T* classOf(const char* framework, T& fake) {
    return missing.contains(framework) ? nullptr : &fake;
  }
};

/// A companion's class that answers when it is told to.
struct SimulatedAppLinkUtility final : platform::AppLinkUtility {
  using Completion = std::function<void(Result<std::optional<std::string>>)>;

  bool respondsToFetchDeferredAppLink() const override { return responds; }
  void fetchDeferredAppLink(Completion completion) override { waiting.push_back(std::move(completion)); }
  /// Answers every waiting fetch, on the caller's stack.
  void answer(const Result<std::optional<std::string>>& result) {
    for (const auto& completion : std::exchange(waiting, {})) completion(result);
  }

  bool responds = true;
  std::vector<Completion> waiting;
};

struct SimulatedClassRegistry final : platform::ClassRegistry {
  bool hasClass(std::string_view name) const override { return classes.contains(name); }
  std::shared_ptr<platform::AppLinkUtility> appLinkUtility(std::string_view name) const override {
    const auto found = classes.find(name);
    return found == classes.end() ? nullptr : found->second;
  }

  /// A null pointer is a class that is there and fetches no links.
  std::map<std::string, std::shared_ptr<platform::AppLinkUtility>, std::less<>> classes;
};

}  // namespace trovix::test
