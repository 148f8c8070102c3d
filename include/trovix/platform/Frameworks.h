#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "trovix/Error.h"
#include "trovix/Export.h"
#include "trovix/Value.h"

namespace trovix::platform {

/// The advertising-identifier manager.
class TROVIX_API ASIdentifierManager {
 public:
  virtual ~ASIdentifierManager() = default;
  /// Whether the user lets the identifier be used.
  [[nodiscard]] virtual bool isAdvertisingTrackingEnabled() const = 0;
  /// UUID text.
  [[nodiscard]] virtual std::optional<std::string> advertisingIdentifier() const = 0;
};

/// The tracking-consent manager.
class TROVIX_API ATTrackingManager {
 public:
  virtual ~ATTrackingManager() = default;
  /// 0 not determined, 1 restricted, 2 denied, 3 authorised; std::nullopt when it does not answer the query.
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
  /// Whether it can be asked for a token.
  [[nodiscard]] virtual bool respondsToAttributionToken() const = 0;
  /// The token, or an error with the platform's code and message. May block.
  virtual Result<std::string> attributionToken() = 0;
};

/// The ad network's class operations.
class TROVIX_API SKAdNetworkClass {
 public:
  virtual ~SKAdNetworkClass() = default;
  /// Whether it has the operation that registers.
  [[nodiscard]] virtual bool respondsToRegisterApp() const = 0;
  /// Tells the ad network that the application was launched.
  virtual void registerAppForAdNetworkAttribution() = 0;
  /// Whether it has the operation that updates.
  [[nodiscard]] virtual bool respondsToUpdateConversionValue() const = 0;
  /// Sets the conversion value, 0 to 63.
  virtual void updateConversionValue(std::int64_t value) = 0;
};

/// The platform's optional frameworks. Opening one is asked for once per framework; a null pointer is a framework
/// or class that is not there. What is returned lives as long as the platform. Any thread.
class TROVIX_API Frameworks {
 public:
  virtual ~Frameworks() = default;
  /// Opens "/System/Library/Frameworks/NAME.framework/NAME"; false when it does not load.
  [[nodiscard]] virtual bool open(const std::string& path) = 0;
  /// AdSupport.
  [[nodiscard]] virtual ASIdentifierManager* identifierManager() = 0;
  /// AppTrackingTransparency.
  [[nodiscard]] virtual ATTrackingManager* trackingManager() = 0;
  /// iAd.
  [[nodiscard]] virtual ADClient* adClient() = 0;
  /// AdServices.
  [[nodiscard]] virtual AAAttribution* attribution() = 0;
  /// StoreKit.
  [[nodiscard]] virtual SKAdNetworkClass* adNetwork() = 0;
};

}  // namespace trovix::platform
