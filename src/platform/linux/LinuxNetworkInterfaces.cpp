#include "platform/linux/LinuxNetworkInterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>

#include "platform/linux/DeviceProfile.h"

namespace trovix::platform {
namespace {

std::vector<NetworkInterface> machineInterfaces() {
  std::vector<NetworkInterface> found;
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return found;
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(first, &::freeifaddrs);
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    // An interface has one entry for each of its addresses.
    auto known =
        std::find_if(found.begin(), found.end(), [&](const NetworkInterface& i) { return i.name == entry->ifa_name; });
    if (known == found.end()) {
      known = found.insert(known, {entry->ifa_name, false, (entry->ifa_flags & IFF_LOOPBACK) != 0});
    }
    if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET) known->hasIPv4 = true;
  }
  return found;
}

bool flag(const Dictionary& facts, std::string_view name) {
  const Value* value = factAt(facts, {name});
  return value != nullptr && value->boolean() != nullptr && *value->boolean();
}

}  // namespace

std::vector<NetworkInterface> LinuxNetworkInterfaces::interfaces() const {
  const auto facts = profile_.snapshot();
  const Value* listed = factAt(*facts, {"network", "interfaces"});
  if (listed == nullptr || listed->array() == nullptr) return machineInterfaces();
  std::vector<NetworkInterface> interfaces;
  for (const Value& entry : *listed->array()) {
    const Dictionary* described = entry.dictionary();
    const std::string* name = described != nullptr ? described->string("name") : nullptr;
    if (name != nullptr) interfaces.push_back({*name, flag(*described, "ipv4"), flag(*described, "loopback")});
  }
  return interfaces;
}

std::optional<std::vector<std::string>> LinuxNetworkInterfaces::scopedProxies() const {
  const auto facts = profile_.snapshot();
  const Value* listed = factAt(*facts, {"network", "scopedProxies"});
  if (listed == nullptr || listed->array() == nullptr) return std::nullopt;
  std::vector<std::string> names;
  for (const Value& entry : *listed->array()) {
    if (entry.string() != nullptr) names.push_back(*entry.string());
  }
  return names;
}

}  // namespace trovix::platform
