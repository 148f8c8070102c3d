#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "collector/Checks.h"
#include "collector/Kinds.h"
#include "collector/Request.h"
#include "trovix/Value.h"

namespace trovix::collector {

/// Opens requests and judges them. One thread.
class Inspector {
 public:
  /// Without a developer key bodies stay closed and nothing is judged.
  explicit Inspector(std::string devKey) : devKey_(std::move(devKey)) {}

  /// The record of a request, as the collector reports it.
  [[nodiscard]] Dictionary inspect(const Request& request, const Address& address, const Destination& destination);

 private:
  std::optional<Value> parametersOf(const Request& request, std::string_view kind, Dictionary& checks);
  void checkChecksum(const std::optional<Value>& parameters, Dictionary& checks) const;

  std::string devKey_;
  std::optional<BodyKey> bodyKey_;
};

}  // namespace trovix::collector
