#include "core/StartUp.h"

#include <fmt/core.h>

#include <cstdint>
#include <utility>

#include "core/EventDispatch.h"
#include "core/Installation.h"
#include "device/TrovixUtils.h"
#include "network/TXSDKEventCache.h"
#include "network/TXSDKPerformance.h"
#include "storage/TXSDKKeychainProtocol.h"
#include "trovix/platform/Console.h"

namespace trovix {

void StartUp::run(bool printsToConsole) {
  if (TrovixUtils::versionRequiresMigration()) {
    const std::int32_t status = keychain.migrateKeychainData();
    if (printsToConsole) console.print(fmt::format("Keychain items migration status: {} \n", status));
  }
  performance.start(TXSDKPerformance::TXSDKFromInitToStart);
  performance.start(TXSDKPerformance::TXSDKFromInitToDDLNetwork);
  static_cast<void>(installation.getTrovixUID());
  static_cast<void>(installation.getOriginalTrovixId());
  for (TXSDKEvent& event : cache.cachedEvents()) dispatch.executeRequestWithEvent(std::move(event), {});
}

}  // namespace trovix
