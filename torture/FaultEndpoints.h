#pragma once

#include <array>
#include <string>
#include <vector>

#include "torture/FaultPhone.h"
#include "torture/FaultTable.h"

namespace trovix::torture::faults {

/// A use of the server, and what is documented to come of it.
struct Endpoint {
  using Act = void (*)(Phone& phone);

  const char* name;
  /// What the scenarios of the stand-in call it: a kind, or "host:NAME".
  const char* key;
  /// Has everything ready in a new process. It may use the server, which is healthy then.
  Act prepare = [](Phone&) {};
  /// Makes the request. What the phone hears of it is the outcome.
  Act use;
  /// What is heard, by effect.
  std::array<const char*, effectCount> outcomes;
  /// Whether a request that got no answer is kept and sent again.
  bool isKept = false;
  /// Kept requests to other endpoints that the use makes as well.
  std::size_t keptElsewhere = 0;
  /// How often a refusal is tried again.
  std::size_t retries = 0;
  /// Whether a request that is silent is given up by a time-out of its own within seconds.
  bool hasOwnTimeout = false;
  /// Whether only the next process uses it again.
  bool isOncePerProcess = false;
  /// After these effects it has done its work for the installation. Of another use this is heard, or the same again
  /// where it is null.
  std::vector<Effect> settledBy = {};
  const char* settled = "";
  /// The healthy answer, where it is not the stand-in's own, and other answers that the use needs.
  Dictionary healthy = {};
  Dictionary scenario = {};

  [[nodiscard]] const char* outcome(Effect effect) const { return outcomes.at(static_cast<std::size_t>(effect)); }
};

[[nodiscard]] const std::vector<Endpoint>& everyEndpoint();

}  // namespace trovix::torture::faults
