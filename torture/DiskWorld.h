#pragma once

#include <string>

#include "collector/Collector.h"
#include "torture/Damages.h"
#include "torture/Torture.h"

namespace trovix::torture {

/// The stand-in, and what reached it, for applications that share nothing else.
struct DiskWorld {
  DiskWorld(const Options& given, Report& reporting)
      : options(given),
        report(reporting),
        server({.devKey = livesDeveloperKey,
                .tlsDirectory = given.directory + "/tls",
                .onRequest = [this](const Dictionary& request) { inbox.add(request); },
                .keptRequests = 0}) {}
  /// Starts the stand-in; what it needs is readable for everybody.
  bool start();
  /// A life that launches and logs two events.
  [[nodiscard]] LifeStory story(const std::string& who, const std::string& data) const {
    return {{"who", who}, {"data", data}, {"server", server.address()}, {"authority", server.caFile()}, {"events", 2}};
  }

  const Options& options;
  Report& report;
  Inbox inbox;
  collector::Collector server;
};

/// Two applications of a group write into its store while one of them is killed again and again.
void shareGroup(DiskWorld& world);

}  // namespace trovix::torture
