#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "trovix/Export.h"

namespace quorrel {

/// Which vendor an attribution came from: the vocabulary that configurations, results and notices share.
enum class SourceType : std::uint64_t { adjust = 1, trovix = 2 };

/// Whether a vendor has delivered an attribution.
enum class ModuleStatus : std::uint64_t { waiting = 1, delivered = 4 };

/// A source's attribution has changed.
struct QRReferralsAttributionChangedInfo {
  SourceType source = SourceType::trovix;
  /// JSON text; missing when the attribution has no JSON form.
  std::optional<std::string> attribution;
};

/// An attribution result.
struct QuorrelInfo {
  SourceType sourceType = SourceType::trovix;
  std::string attribution;
};

/// A vendor's identifier of this device.
struct QuorrelTrackerInfo {
  SourceType sourceType = SourceType::trovix;
  std::string trackerId;
};

/// Hears of changed attributions. Held weakly. An empty operation is passed over. Must not throw: that ends the
/// process.
struct QuorrelObserver {
  /// Called on the thread of the vendor's callback.
  std::function<void(const QRReferralsAttributionChangedInfo& info)> quorrelReferralsAttributionChanged;
};

/// Names of the sources.
class TROVIX_API AttributionRetrieveSourceExt {
 public:
  /// "trovix" for the tracking SDK, "adjust" for every other value.
  [[nodiscard]] static const char* sourceNameForSouce(SourceType source) noexcept;
};

}  // namespace quorrel
