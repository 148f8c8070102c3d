#pragma once

#include <atomic>
#include <optional>

#include "trovix/Value.h"

namespace trovix {

class ConversionRules;
class DeepLinks;
class PartnerData;
class TXSDKEvent;
class TXSDKPerformance;
class TXSDKStorageProtocol;
class TXSDKiAdClient;

/// What a request learns only when it is sent: timings, the search-ads token, and what links, partners and conversion
/// rules have to say by then.
class EventRequestMetadata {
 public:
  struct Sources {
    TXSDKStorageProtocol& storage;
    TXSDKiAdClient& iAdClient;
    TXSDKPerformance& performance;
    DeepLinks& deepLinks;
    ConversionRules& rules;
    PartnerData& partners;
  };
  explicit EventRequestMetadata(const Sources& sources) : sources_(sources) {}

  /// Before every attempt, on the queue that runs it.
  void addTo(TXSDKEvent& event);

 private:
  void takeLink(Dictionary& parameters, Dictionary& metadata);
  void addServerToServerValue(Dictionary& metadata);
  /// The timings that the kind of the request calls for; answers the search-ads token where one is read.
  [[nodiscard]] std::optional<Dictionary> addTimings(const TXSDKEvent& event, Dictionary& metadata);
  void addFirstLaunchTimings(Dictionary& metadata);
  void addLaunchTimings(Dictionary& metadata);

  Sources sources_;
  std::atomic<bool> didReportLaunchTimings_{false};
};

}  // namespace trovix
