#include <fmt/core.h>

#include <algorithm>

#include "device/TrovixUtils.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/FileSystem.h"

namespace trovix {

bool TrovixUtils::isWifiAvailable() const {
  const auto interfaces = platform_.networkInterfaces.interfaces();
  return std::any_of(interfaces.begin(), interfaces.end(), [](const platform::NetworkInterface& interface) {
    return interface.name == "en0" && interface.hasIPv4 && !interface.isLoopback;
  });
}

bool TrovixUtils::isVPNConnected() const {
  const auto names = platform_.networkInterfaces.scopedProxies();
  if (!names) return false;
  return std::any_of(names->begin(), names->end(), [](const std::string& name) {
    for (const char* tunnel : {"tap", "tun", "ipsec", "ppp"}) {
      if (name.find(tunnel) != std::string::npos) return true;
    }
    return false;
  });
}

std::string TrovixUtils::freeDiskspace() const {
  constexpr unsigned mebibyteShift = 20;
  const auto space = platform_.fileSystem.space(platform_.directories.documents());
  if (!space) return fmt::format("{}, {}", space.error().domain(), space.error().code());
  return fmt::format("{}/{}", space->freeBytes >> mebibyteShift, space->totalBytes >> mebibyteShift);
}

}  // namespace trovix
