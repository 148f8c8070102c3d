#pragma once

#include <string>

#include "torture/FaultEndpoints.h"
#include "torture/FaultTable.h"
#include "torture/Torture.h"

namespace trovix::torture::faults {

/// One fault at one endpoint.
struct Cell {
  const Endpoint* endpoint;
  const Fault* fault;

  [[nodiscard]] std::string name() const { return std::string(fault->name) + " at " + endpoint->name; }
};

/// An application meets the fault, and then the endpoint as it should be. Every expectation that does not hold is
/// reported under the cell's name. The directory is its own.
void runCell(const Cell& cell, const std::string& directory, const std::string& authorityDirectory, Report& report);

}  // namespace trovix::torture::faults
