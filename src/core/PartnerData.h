#pragma once

#include <optional>

#include "trovix/Value.h"

namespace trovix {

/// What the host attached per partner, as launches carry it.
class PartnerData {
 public:
  virtual ~PartnerData() = default;
  // The two sections, absent before any partner was set. Any thread.
  [[nodiscard]] virtual std::optional<Dictionary> partnerData() const = 0;
  [[nodiscard]] virtual std::optional<Dictionary> error() const = 0;
};

}  // namespace trovix
