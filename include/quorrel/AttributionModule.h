#pragma once

#include <optional>
#include <string>

#include "quorrel/QuorrelConfig.h"
#include "quorrel/QuorrelTypes.h"
#include "trovix/Export.h"

namespace quorrel {

/// Runs one vendor's SDK. Any thread.
class TROVIX_API AttributionModuleBase {
 public:
  virtual ~AttributionModuleBase() = default;
  /// What the module was made from.
  [[nodiscard]] virtual const QuorrelConfig& config() const = 0;
  /// Whether the vendor has delivered.
  [[nodiscard]] virtual ModuleStatus status() const = 0;
  /// JSON text; missing before the vendor has delivered.
  [[nodiscard]] virtual std::optional<std::string> attribution() const = 0;
  /// The vendor's identifier of this device. The first call may write to disk.
  [[nodiscard]] virtual std::optional<std::string> trackerId() const = 0;
  /// Starts the vendor's SDK.
  virtual void prepare() = 0;
  /// Publishes the current attribution to the observers.
  virtual void attributionChanged() = 0;
};

}  // namespace quorrel
