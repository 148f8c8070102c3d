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

class TROVIX_API AdjustDelegate {
 public:
  virtual ~AdjustDelegate() = default;
  /// Called on a thread of the vendor's choice.
  virtual void adjustAttributionChanged(const std::optional<ADJAttribution>& attribution) = 0;
};

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
  virtual void appDidLaunch(const ADJConfig& config) = 0;
  /// Nothing until the vendor has attributed the install.
  [[nodiscard]] virtual std::optional<ADJAttribution> attribution() = 0;
  [[nodiscard]] virtual std::optional<std::string> adid() = 0;
};

}  // namespace quorrel
