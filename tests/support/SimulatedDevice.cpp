#include "support/SimulatedDevice.h"

namespace trovix::test {

SimulatedDevice::SimulatedDevice(std::shared_ptr<SimulatedDisk> sharedDisk)
    : disk(std::move(sharedDisk)),
      clock(disk->now),
      queues(clock),
      userDefaults(*disk),
      keychain(*disk),
      fileSystem(*disk, clock),
      network(queues),
      frameworks(queues) {
  // An installed application has its directories from the start.
  for (const auto& path : {directories.caches(), directories.documents(), directories.temporary()}) {
    static_cast<void>(fileSystem.createDirectories(path));
  }
}

SimulatedDevice::~SimulatedDevice() {
  queues.shutDown();
  network.dropHeld();
}

}  // namespace trovix::test
