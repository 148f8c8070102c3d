#pragma once

#include <memory>
#include <vector>

#include "quorrel/AdjustSDK.h"
#include "quorrel/AttributionModule.h"
#include "quorrel/QuorrelConfig.h"
#include "quorrel/QuorrelTypes.h"
#include "quorrel/SPEventNotifierManager.h"
#include "trovix/Export.h"

namespace trovix {
class TrovixLib;
namespace platform {
struct Platform;
}
}  // namespace trovix

namespace quorrel {

/// The attribution agent: one module per configured source, their results side by side, and the observers that hear
/// when one changes. Any thread.
class TROVIX_API QuorrelCore {
 public:
  /// The process's agent, made on first use, never destroyed. It works with `TrovixLib::shared()`, which is made when
  /// the first Trovix configuration is prepared.
  [[nodiscard]] static QuorrelCore& shared();

  /// An agent of its own, for tests and tools. The SDK and the platform outlive it.
  QuorrelCore(trovix::TrovixLib& sdk, trovix::platform::Platform& platform);
  ~QuorrelCore();
  QuorrelCore(const QuorrelCore&) = delete;
  QuorrelCore& operator=(const QuorrelCore&) = delete;

  /// The vendor's SDK behind Adjust configurations; before `prepareWithConfigs`. Without it such a module never
  /// delivers.
  void setAdjustSDK(std::shared_ptr<AdjustSDK> adjust);
  /// Builds and starts one module per configuration, in order, in place of earlier ones. Configurations of an unknown
  /// kind are passed over.
  void prepareWithConfigs(const std::vector<std::shared_ptr<const QuorrelConfig>>& configs);

  /// The modules, in the order of their configurations.
  [[nodiscard]] std::vector<std::shared_ptr<AttributionModuleBase>> subModules() const;
  /// Whether every module has delivered; true when there is none.
  [[nodiscard]] bool readyStatus() const;
  /// The attributions there are, in the order of the modules.
  [[nodiscard]] std::vector<QuorrelInfo> retrievedAttributes() const;
  /// The vendors' identifiers of this device that there are, in the order of the modules. The first call may write to
  /// disk.
  [[nodiscard]] std::vector<QuorrelTrackerInfo> trackerIds() const;

  /// Hands the notice to the observers, on the calling thread.
  void quorrelReferralsChanged(const QRReferralsAttributionChangedInfo& info);
  /// The observer is held weakly.
  void observeEventsFor(const std::shared_ptr<QuorrelObserver>& observer);
  /// Waits for that observer's running callbacks, unless it is called from one of them.
  void removeObserverFor(const std::shared_ptr<QuorrelObserver>& observer);

 private:
  struct State;
  explicit QuorrelCore(std::unique_ptr<State> state);

  std::unique_ptr<State> state_;
};

}  // namespace quorrel
