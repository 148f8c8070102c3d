#pragma once

#include <optional>
#include <string>

#include "core/PartnerData.h"
#include "platform/Mutex.h"
#include "trovix/Value.h"

namespace trovix {

/// What the host attached per partner, kept in memory for launch payloads. Any thread.
class PartnerDataRecord final : public PartnerData {
 public:
  /// Longest text of one partner's information, in UTF-16 units.
  static constexpr std::size_t maximumLength = 1000;

  /// Replaces the partner's data. Missing or empty information removes it, and so does information that is too long.
  void setPartnerDataWithPartnerId(const std::optional<std::string>& partnerId,
                                   const std::optional<Dictionary>& partnerInfo);

  [[nodiscard]] std::optional<Dictionary> partnerData() const override;
  [[nodiscard]] std::optional<Dictionary> error() const override;

 private:
  struct Sections {
    Dictionary partnerData;
    Dictionary error;
  };
  mutable platform::Mutex mutex_;
  std::optional<Sections> partnerInfo_ TX_GUARDED_BY(mutex_);  // missing until a partner is set
};

}  // namespace trovix
