#pragma once

#include <cstdint>
#include <vector>

#include "trovix/Value.h"

namespace trovix::torture::faults {

/// What a fault comes to, for whoever asked.
enum class Effect : std::uint8_t {
  lost,     ///< no answer; the transport failed
  missing,  ///< a status of 404, with a page
  refused,  ///< a status that is tried again, with JSON
  garbled,  ///< a status of 200 with a body that is no JSON
  odd,      ///< 200, with a JSON object whose values have other types
  list,     ///< 200, with JSON that is no object
  healthy,  ///< the healthy answer, late
};
inline constexpr std::size_t effectCount = 7;

struct Fault {
  /// Who meets it.
  enum class Reach : std::uint8_t {
    request,    ///< a request of the endpoint, which arrives
    handshake,  ///< whoever connects to the endpoint's host
    absence,    ///< everybody: nobody listens
    plainText,  ///< everybody: who listens does not know TLS
  };
  const char* name;
  Effect effect;
  Reach reach = Reach::request;
  /// As a scenario of the stand-in has it.
  Dictionary answer = {};
  /// No answer before the request's own time-out.
  bool isSilent = false;
  /// Over after a minute at the earliest, whatever the endpoint.
  bool isPatient = false;
};

/// A host that redirects every request to itself.
inline constexpr const char* circleHost = "circle.example.test";

[[nodiscard]] const std::vector<Fault>& everyFault();

}  // namespace trovix::torture::faults
