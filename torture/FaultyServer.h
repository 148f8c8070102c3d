#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "collector/Collector.h"
#include "torture/FaultEndpoints.h"
#include "torture/FaultTable.h"

namespace trovix::torture::faults {

/// The tracking servers, where one endpoint misbehaves on demand.
class FaultyServer {
 public:
  /// Servers may share the directory of the certificate authority.
  FaultyServer(const Endpoint& endpoint, const std::string& authorityDirectory);

  void fail(const Fault& fault);
  /// Healthy again, and nothing received yet.
  void heal();

  [[nodiscard]] const std::string& address() const noexcept { return address_; }
  [[nodiscard]] std::string authority() const { return collector_.caFile(); }
  /// The requests to the endpoint.
  [[nodiscard]] std::size_t received() const;
  /// Whether there is one before the time is over.
  [[nodiscard]] bool receives(std::chrono::seconds limit) const;
  /// What a scenario did wrong; empty as long as nothing did.
  [[nodiscard]] const std::string& trouble() const noexcept { return trouble_; }

 private:
  void note(const Status& status);

  const Endpoint& endpoint_;
  collector::Collector collector_;
  std::string address_;
  std::unique_ptr<collector::Collector> plainTwin_;
  std::string trouble_;
};

}  // namespace trovix::torture::faults
