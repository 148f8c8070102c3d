#include "agent/QuorrelAdjustModule.h"

#include "trovix/Json.h"

namespace quorrel {

QuorrelAdjustModule::QuorrelAdjustModule(QuorrelAdjustConfig config, std::shared_ptr<AdjustSDK> adjust,
                                         std::function<void(const QRReferralsAttributionChangedInfo&)> publish)
    : config_(std::move(config)), adjust_(std::move(adjust)), publish_(std::move(publish)) {}

void QuorrelAdjustModule::prepare() {
  if (!adjust_) return;
  ADJConfig config = ADJConfig::configWithAppToken(config_.token(), ADJEnvironmentProduction);
  config.setDelegate(weak_from_this());
  adjust_->appDidLaunch(config);
}

std::optional<ADJAttribution> QuorrelAdjustModule::adjustAttribution() const {
  return adjust_ ? adjust_->attribution() : std::nullopt;
}

ModuleStatus QuorrelAdjustModule::status() const {
  return adjustAttribution() ? ModuleStatus::delivered : ModuleStatus::waiting;
}

std::optional<std::string> QuorrelAdjustModule::attribution() const {
  const auto attribution = adjustAttribution();
  return attribution && attribution->dictionary ? trovix::jsonText(*attribution->dictionary) : std::nullopt;
}

std::optional<std::string> QuorrelAdjustModule::trackerId() const { return adjust_ ? adjust_->adid() : std::nullopt; }

void QuorrelAdjustModule::adjustAttributionChanged(const std::optional<ADJAttribution>&) { attributionChanged(); }

void QuorrelAdjustModule::attributionChanged() { publish_({config_.sourceType(), attribution()}); }

}  // namespace quorrel
