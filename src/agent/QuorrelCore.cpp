#include "quorrel/QuorrelCore.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "agent/QuorrelAdjustModule.h"
#include "agent/QuorrelTrovixModule.h"
#include "platform/Mutex.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/Platform.h"

namespace quorrel {

using trovix::platform::MutexLock;
using trovix::platform::NotificationCenter;

struct QuorrelCore::State {
  State(std::function<trovix::TrovixLib&()> theSdk, std::function<trovix::platform::Platform&()> thePlatform)
      : sdk(std::move(theSdk)), platform(std::move(thePlatform)) {}

  // The process's own are made when a configuration asks for them: an SDK that is made begins to work.
  const std::function<trovix::TrovixLib&()> sdk;
  const std::function<trovix::platform::Platform&()> platform;

  trovix::platform::Mutex mutex;
  std::shared_ptr<AdjustSDK> adjust TX_GUARDED_BY(mutex);
  std::vector<std::shared_ptr<AttributionModuleBase>> subModules TX_GUARDED_BY(mutex);
  // Every later did-become-active restarts the SDK, whatever became of the module that asked for it.
  std::vector<std::unique_ptr<NotificationCenter::Registration>> activations TX_GUARDED_BY(mutex);
};

QuorrelCore& QuorrelCore::shared() {
  static auto* const core =
      new QuorrelCore(std::make_unique<State>(trovix::TrovixLib::shared, trovix::platform::defaultPlatform));
  return *core;
}

QuorrelCore::QuorrelCore(trovix::TrovixLib& sdk, trovix::platform::Platform& platform)
    : QuorrelCore(std::make_unique<State>(
          [&sdk]() -> auto& { return sdk; }, [&platform]() -> auto& { return platform; })) {}

QuorrelCore::QuorrelCore(std::unique_ptr<State> state) : state_(std::move(state)) {}

QuorrelCore::~QuorrelCore() = default;

void QuorrelCore::setAdjustSDK(std::shared_ptr<AdjustSDK> adjust) {
  const MutexLock lock(state_->mutex);
  state_->adjust = std::move(adjust);
}

void QuorrelCore::prepareWithConfigs(const std::vector<std::shared_ptr<const QuorrelConfig>>& configs) {
  // A module may outlive its core in a callback that runs.
  const auto publish = [](const QRReferralsAttributionChangedInfo& info) {
    QuorrelNotifier::sharedManager().postEventReferralsAttributionChanged(info);
  };
  const auto keep = [state = state_.get()](std::unique_ptr<NotificationCenter::Registration> registration) {
    const MutexLock lock(state->mutex);
    state->activations.push_back(std::move(registration));
  };
  std::shared_ptr<AdjustSDK> adjust;
  {
    const MutexLock lock(state_->mutex);
    adjust = state_->adjust;
  }
  std::vector<std::shared_ptr<AttributionModuleBase>> modules;
  for (const auto& config : configs) {
    std::shared_ptr<AttributionModuleBase> module;
    if (const auto* forAdjust = dynamic_cast<const QuorrelAdjustConfig*>(config.get())) {
      module = std::make_shared<QuorrelAdjustModule>(*forAdjust, adjust, publish);
    } else if (const auto* forTrovix = dynamic_cast<const QuorrelTrovixConfig*>(config.get())) {
      module = std::make_shared<QuorrelTrovixModule>(
          *forTrovix, QuorrelTrovixModule::Surroundings{state_->sdk(), state_->platform(), publish, keep});
    }
    if (!module) continue;
    module->prepare();
    modules.push_back(std::move(module));
  }
  const MutexLock lock(state_->mutex);
  state_->subModules.swap(modules);
}

std::vector<std::shared_ptr<AttributionModuleBase>> QuorrelCore::subModules() const {
  const MutexLock lock(state_->mutex);
  return state_->subModules;
}

bool QuorrelCore::readyStatus() const {
  const auto modules = subModules();
  return std::all_of(modules.begin(), modules.end(),
                     [](const auto& module) { return module->status() == ModuleStatus::delivered; });
}

std::vector<QuorrelInfo> QuorrelCore::retrievedAttributes() const {
  std::vector<QuorrelInfo> attributes;
  for (const auto& module : subModules()) {
    if (auto attribution = module->attribution()) {
      attributes.push_back({module->config().sourceType(), *std::move(attribution)});
    }
  }
  return attributes;
}

std::vector<QuorrelTrackerInfo> QuorrelCore::trackerIds() const {
  std::vector<QuorrelTrackerInfo> trackers;
  for (const auto& module : subModules()) {
    if (auto trackerId = module->trackerId()) {
      trackers.push_back({module->config().sourceType(), *std::move(trackerId)});
    }
  }
  return trackers;
}

void QuorrelCore::quorrelReferralsChanged(const QRReferralsAttributionChangedInfo& info) {
  QuorrelNotifier::sharedManager().postEventReferralsAttributionChanged(info);
}

void QuorrelCore::observeEventsFor(const std::shared_ptr<QuorrelObserver>& observer) {
  QuorrelNotifier::observeEventsFor(observer);
}

void QuorrelCore::removeObserverFor(const std::shared_ptr<QuorrelObserver>& observer) {
  QuorrelNotifier::removeObserverFor(observer);
}

}  // namespace quorrel
