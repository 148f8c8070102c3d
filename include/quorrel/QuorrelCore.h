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
  /// The process's agent, over `TrovixLib::shared()`; made on first use, never destroyed.
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

  [[nodiscard]] std::vector<std::shared_ptr<AttributionModuleBase>> subModules() const;
  /// Whether every module has delivered; true when there is none.
  [[nodiscard]] bool readyStatus() const;
  /// The attributions there are, in the order of the modules.
  [[nodiscard]] std::vector<QuorrelInfo> retrievedAttributes() const;
  [[nodiscard]] std::vector<QuorrelTrackerInfo> trackerIds() const;

  /// Hands the notice to the observers, on the calling thread.
  void quorrelReferralsChanged(const QRReferralsAttributionChangedInfo& info);
  /// The observer is held weakly.
  void observeEventsFor(const std::shared_ptr<QuorrelObserver>& observer);
  void removeObserverFor(const std::shared_ptr<QuorrelObserver>& observer);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace quorrel
