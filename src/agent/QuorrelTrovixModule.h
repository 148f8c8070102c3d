#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "quorrel/AttributionModule.h"
#include "trovix/TrovixLibDelegate.h"
#include "trovix/platform/NotificationCenter.h"
#include "trovix/platform/Platform.h"

namespace trovix {
class TrovixLib;
}

namespace quorrel {

/// Runs the tracking SDK as an attribution source: its delegate, and whoever starts it again when the application
/// becomes active.
class QuorrelTrovixModule final : public AttributionModuleBase,
                                  public std::enable_shared_from_this<QuorrelTrovixModule> {
 public:
  struct Surroundings {
    trovix::TrovixLib& sdk;
    trovix::platform::Platform& platform;
    std::function<void(const QRReferralsAttributionChangedInfo&)> publish;
    /// Keeps the did-become-active registration, which outlives the module.
    std::function<void(std::unique_ptr<trovix::platform::NotificationCenter::Registration>)> keep;
  };

  QuorrelTrovixModule(QuorrelTrovixConfig config, Surroundings surroundings);

  [[nodiscard]] const QuorrelConfig& config() const override { return config_; }
  [[nodiscard]] ModuleStatus status() const override;
  [[nodiscard]] std::optional<std::string> attribution() const override;
  [[nodiscard]] std::optional<std::string> trackerId() const override;
  void prepare() override;
  void attributionChanged() override;

 private:
  [[nodiscard]] std::shared_ptr<trovix::TrovixLibDelegate> makeDelegate();
  /// Stores what the SDK delivered and publishes it.
  void deliver(const char* operation, const trovix::Dictionary& data);
  void report(const char* operation, const trovix::Error& error) const;

  const QuorrelTrovixConfig config_;
  const Surroundings surroundings_;
  std::shared_ptr<trovix::TrovixLibDelegate> delegate_;  // set by prepare

  mutable trovix::platform::Mutex mutex_;
  std::optional<trovix::Dictionary> trovixConversion_ TX_GUARDED_BY(mutex_);
};

}  // namespace quorrel
