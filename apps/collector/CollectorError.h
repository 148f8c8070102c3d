#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::collector {

/// Domain of what a Collector refuses; the message says what is wrong.
inline constexpr const char* collectorErrorDomain = "example.trovix.collector";
/// Code of a scenario that cannot be read; other failures have 0.
inline constexpr std::int64_t collectorScenarioCode = 1;

[[nodiscard]] inline Error collectorError(std::string message, std::int64_t code = 0) {
  return Error(collectorErrorDomain, code, Dictionary{{Error::localizedDescriptionKey, std::move(message)}});
}

}  // namespace trovix::collector
