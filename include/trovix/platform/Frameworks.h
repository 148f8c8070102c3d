#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// The advertising-identifier manager.
class TROVIX_API ASIdentifierManager {
 public:
  virtual ~ASIdentifierManager() = default;
  [[nodiscard]] virtual bool isAdvertisingTrackingEnabled() const = 0;
  /// UUID text.
  [[nodiscard]] virtual std::optional<std::string> advertisingIdentifier() const = 0;
};

/// The tracking-consent manager.
class TROVIX_API ATTrackingManager {
 public:
  virtual ~ATTrackingManager() = default;
  /// 0 not determined, 1 restricted, 2 denied, 3 authorised; nothing when it does not answer the query.
  [[nodiscard]] virtual std::optional<std::int64_t> trackingAuthorizationStatus() const = 0;
};

/// The legacy search-ads client.
class TROVIX_API ADClient {
 public:
  virtual ~ADClient() = default;
  /// Whether it has a shared client that can be asked.
  [[nodiscard]] virtual bool respondsToRequestAttributionDetails() const = 0;
  /// Answers once, on any thread: the details, or an error whose code counts.
  virtual void requestAttributionDetails(std::function<void(Result<Dictionary>)> completion) = 0;
};

/// The attribution-token class.
class TROVIX_API AAAttribution {
 public:
  virtual ~AAAttribution() = default;
  [[nodiscard]] virtual bool respondsToAttributionToken() const = 0;
  virtual Result<std::string> attributionToken() = 0;
};

/// The ad network's class operations.
class TROVIX_API SKAdNetworkClass {
 public:
  virtual ~SKAdNetworkClass() = default;
  [[nodiscard]] virtual bool respondsToRegisterApp() const = 0;
  virtual void registerAppForAdNetworkAttribution() = 0;
  [[nodiscard]] virtual bool respondsToUpdateConversionValue() const = 0;
  virtual void updateConversionValue(std::int64_t value) = 0;
};

/// The platform's optional frameworks. Opening one is asked for once per framework; a null pointer is a framework
/// or class that is not there. What is returned lives as long as the platform. Any thread.
class TROVIX_API Frameworks {
 public:
  virtual ~Frameworks() = default;
  /// Opens "/System/Library/Frameworks/NAME.framework/NAME"; false when it does not load.
  [[nodiscard]] virtual bool open(const std::string& path) = 0;
  [[nodiscard]] virtual ASIdentifierManager* identifierManager() = 0;
  [[nodiscard]] virtual ATTrackingManager* trackingManager() = 0;
  [[nodiscard]] virtual ADClient* adClient() = 0;
  [[nodiscard]] virtual AAAttribution* attribution() = 0;
  [[nodiscard]] virtual SKAdNetworkClass* adNetwork() = 0;
};

/// The companion SDK's class that fetches a deferred app link.
class TROVIX_API AppLinkUtility {
 public:
  virtual ~AppLinkUtility() = default;
  [[nodiscard]] virtual bool respondsToFetchDeferredAppLink() const = 0;
  /// Answers once: the link's absolute text (nothing when there is none) or an error.
  virtual void fetchDeferredAppLink(std::function<void(Result<std::optional<std::string>>)> completion) = 0;
};

/// Classes of companion SDKs linked into the same application, looked up by name. Any thread.
class TROVIX_API ClassRegistry {
 public:
  virtual ~ClassRegistry() = default;
  [[nodiscard]] virtual bool hasClass(std::string_view name) const = 0;
  /// The class of that name as an app-link utility, or a null pointer.
  [[nodiscard]] virtual std::shared_ptr<AppLinkUtility> appLinkUtility(std::string_view name) const = 0;
};

}  // namespace trovix::platform
