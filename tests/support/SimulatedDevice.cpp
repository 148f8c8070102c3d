#include "support/SimulatedDevice.h"

namespace trovix::test {

SimulatedDevice::SimulatedDevice(std::shared_ptr<SimulatedDisk> sharedDisk)
    : disk(std::move(sharedDisk)),
      clock(disk->now),
      queues(clock),
      userDefaults(*disk),
      keychain(*disk),
      fileSystem(*disk, clock),
      network(queues, clock),
      frameworks(queues),
      platform_{clock,
                queues,
                notificationCenter,
                userDefaults,
                keychain,
                bundle,
                environment,
                directories,
                fileSystem,
                console,
                systemLog,
                integrity,
                systemControl,
                facts,
                screen,
                locale,
                networkInterfaces,
                network,
                backgroundTasks,
                frameworks,
                classRegistry} {
  // An installed application has its directories from the start.
  for (const auto& path :
       {directories.library(), directories.caches(), directories.documents(), directories.temporary()}) {
    static_cast<void>(fileSystem.createDirectories(path));
  }
}

SimulatedDevice::~SimulatedDevice() {
  queues.shutDown();
  network.dropHeld();
}

}  // namespace trovix::test
