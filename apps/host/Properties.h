#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "quorrel/QuorrelCore.h"
#include "trovix/TrovixLib.h"

namespace trovix::host {

/// A public property of the facade or the agent, by name.
struct Property {
  const char* name = "";
  /// Empty for what can only be read. The value may be null, which is nil.
  std::function<void(TrovixLib&, const Value&)> set;
  /// Empty for what can only be set.
  std::function<std::optional<Value>(TrovixLib&, quorrel::QuorrelCore&)> get;
};

[[nodiscard]] const std::vector<Property>& properties();
[[nodiscard]] const Property* findProperty(std::string_view name);

}  // namespace trovix::host
