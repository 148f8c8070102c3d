#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "trovix/Export.h"
#include "trovix/Value.h"

namespace quorrel {

/// The vendor's production environment.
inline constexpr const char* ADJEnvironmentProduction = "production";

/// The vendor's attribution object.
struct ADJAttribution {
  std::optional<trovix::Dictionary> dictionary;
};

/// Hears of the vendor's attributions.
class TROVIX_API AdjustDelegate {
 public:
  virtual ~AdjustDelegate() = default;
  /// Called on a thread of the vendor's choice.
  virtual void adjustAttributionChanged(const std::optional<ADJAttribution>& attribution) = 0;
};

/// What the vendor's SDK is started with. The delegate is held weakly.
class TROVIX_API ADJConfig {
 public:
  [[nodiscard]] static ADJConfig configWithAppToken(std::string appToken, std::string environment) {
    ADJConfig config;
    config.appToken_ = std::move(appToken);
    config.environment_ = std::move(environment);
    return config;
  }
  void setDelegate(std::weak_ptr<AdjustDelegate> delegate) { delegate_ = std::move(delegate); }
  [[nodiscard]] const std::string& appToken() const noexcept { return appToken_; }
  [[nodiscard]] const std::string& environment() const noexcept { return environment_; }
  [[nodiscard]] std::shared_ptr<AdjustDelegate> delegate() const { return delegate_.lock(); }

 private:
  std::string appToken_;
  std::string environment_;
  std::weak_ptr<AdjustDelegate> delegate_;
};

/// The operations of the vendor's SDK, which the host application links and hands in. Any thread.
class TROVIX_API AdjustSDK {
 public:
  virtual ~AdjustSDK() = default;
  /// Starts the vendor's SDK; called once per configuration that is prepared.
  virtual void appDidLaunch(const ADJConfig& config) = 0;
  /// Missing until the vendor has attributed the install.
  [[nodiscard]] virtual std::optional<ADJAttribution> attribution() = 0;
  /// The vendor's identifier of this device.
  [[nodiscard]] virtual std::optional<std::string> adid() = 0;
};

}  // namespace quorrel
