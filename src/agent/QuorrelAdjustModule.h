#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "quorrel/AdjustSDK.h"
#include "quorrel/AttributionModule.h"

namespace quorrel {

/// Runs the Adjust SDK as an attribution source, always in its production environment.
class QuorrelAdjustModule final : public AttributionModuleBase,
                                  public AdjustDelegate,
                                  public std::enable_shared_from_this<QuorrelAdjustModule> {
 public:
  /// The vendor's SDK may be null; the module then never delivers.
  QuorrelAdjustModule(QuorrelAdjustConfig config, std::shared_ptr<AdjustSDK> adjust,
                      std::function<void(const QRReferralsAttributionChangedInfo&)> publish);

  [[nodiscard]] const QuorrelConfig& config() const override { return config_; }
  [[nodiscard]] ModuleStatus status() const override;
  [[nodiscard]] std::optional<std::string> attribution() const override;
  [[nodiscard]] std::optional<std::string> trackerId() const override;
  void prepare() override;
  void attributionChanged() override;

  /// The argument is ignored: the attribution is read again from the vendor.
  void adjustAttributionChanged(const std::optional<ADJAttribution>& attribution) override;

 private:
  [[nodiscard]] std::optional<ADJAttribution> adjustAttribution() const;

  const QuorrelAdjustConfig config_;
  const std::shared_ptr<AdjustSDK> adjust_;
  const std::function<void(const QRReferralsAttributionChangedInfo&)> publish_;
};

}  // namespace quorrel
