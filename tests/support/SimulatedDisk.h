#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "trovix/Value.h"

namespace trovix::test {

/// What outlives a process, shared by the devices that stand for one process after another.
struct SimulatedDisk {
  using Domain = std::map<std::string, std::shared_ptr<const Value>, std::less<>>;
  struct Node {
    bool isDirectory = false;
    Data bytes;
    double createdAt = 0;
    double modifiedAt = 0;
  };

  /// The wall clock.
  double now = 1'700'000'000;
  Domain standardDefaults;
  std::map<std::string, Domain, std::less<>> suites;
  std::vector<Dictionary> keychainItems;
  /// Files and directories by absolute path.
  std::map<std::string, Node> nodes;

  /// The user deletes the application: its defaults and files go; the keychain and the group suites stay.
  /// Between two devices only.
  void deleteApp() {
    standardDefaults.clear();
    nodes.clear();
  }
};

}  // namespace trovix::test
