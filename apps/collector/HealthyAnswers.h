#pragma once

#include <cstdint>

#include "collector/Kinds.h"
#include "collector/Request.h"
#include "trovix/Value.h"

namespace trovix::collector {

/// What healthy servers say: link configuration to events, a non-organic install, a conversion rule, a deferred deep
/// link, short links that expand, valid receipts. One thread.
class HealthyAnswers {
 public:
  /// `parameters` is the request's body, as far as it could be read, or a null pointer.
  [[nodiscard]] Reply answer(const Destination& destination, const Address& address, const Value* parameters);

 private:
  std::string shortLink(const Destination& destination, const Address& address, const Value* parameters);

  std::uint64_t shortLinks_ = 0;
};

}  // namespace trovix::collector
