#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/TXSDKSKAdNetwork.h"
#include "device/FrameworkLoader.h"
#include "platform/Json.h"
#include "storage/TXSDKStorageFactory.h"
#include "support/SimulatedDevice.h"

/// A server's rule, and events under it, in the process that fetched it and in the next one. The conversion value never
/// falls, and never leaves its six bits.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace trovix;
  const auto json = platform::parseJson(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (!json) return 0;
  const Dictionary* fields = json->dictionary();
  const Dictionary* values = fields != nullptr ? fields->dictionary("values") : nullptr;
  const std::string* event = fields != nullptr ? fields->string("event") : nullptr;

  const auto disk = std::make_shared<test::SimulatedDisk>();
  std::int32_t highest = 0;
  for (int process = 0; process < 2; ++process) {
    test::SimulatedDevice device(disk);
    FrameworkLoader loader(device.frameworks);
    const auto storage = TXSDKStorageFactory(device.userDefaults, device.bundle).defaultStorage();
    TXSDKSKAdNetwork keeper(device.platform(), loader, *storage);
    static_cast<void>(keeper.didReceiveConfiguration(*json));
    for (const std::string& name : {event != nullptr ? *event : std::string("tx_purchase"), std::string("txsdk_s2s")}) {
      const std::int32_t raised =
          keeper.willUpdateConversionValueWithName(name, values != nullptr ? std::optional(*values) : std::nullopt);
      if (raised > 63 || (raised > 0 && raised <= highest)) __builtin_trap();
      if (raised > 0) highest = raised;
    }
  }
  return 0;
}
