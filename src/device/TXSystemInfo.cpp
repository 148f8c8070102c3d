#include "device/TXSystemInfo.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "common/ClampTo.h"
#include "platform/Text.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {

namespace {

// Of the kernel's published headers.
constexpr std::uint32_t typeIntel = 7;
constexpr std::uint32_t typeArm = 12;
constexpr std::uint32_t typePowerPC = 18;
constexpr std::uint32_t typeArm64 = 0x100000C;
constexpr int hardwareClass = 6;
constexpr int cpuFrequencyItem = 15;
constexpr std::size_t brandStringSize = 256;

constexpr std::array<std::pair<std::uint32_t, std::string_view>, 11> cpuFamilies{{
    {0x78ea4fbc, "Intel Core 2 Duo (Penryn)"},
    {0x6b5a4cd2, "Intel (Nehalem)"},
    {0x573b5eec, "Intel (Westmere)"},
    {0x5490b78c, "Intel Core i5/i7 (Sandy Bridge)"},
    {0x1f65e835, "Intel (Ivy Bridge)"},
    {0x10b282dc, "Intel Core i5/i7 (Haswell)"},
    {0x582ed09c, "Intel Core M/i5/i7 (Haswell)"},
    {0x37fc219f, "Intel Core M/i5/i7 (Skylake)"},
    {0xcee41549, "PowerPC G3"},
    {0x77c184ae, "PowerPC G4"},
    {0xed76d8aa, "PowerPC G5"},
}};

/// The low 32 bits, so that a family reads the same whether it was handed over signed or unsigned.
std::optional<std::uint32_t> query32(const platform::SystemControl& system, std::string_view name) {
  const auto value = system.integer(name);
  if (!value) return std::nullopt;
  return static_cast<std::uint32_t>(*value);
}

std::string armType(std::optional<std::uint32_t> subtype) {
  if (subtype == 11U) return "ARMV7S";
  if (subtype == 9U) return "ARMV7";
  return "ARM";
}

std::optional<std::string> intelBrand(const platform::SystemControl& system) {
  auto brand = system.text("machdep.cpu.brand_string");
  if (!brand || brand->empty() || brand->size() >= brandStringSize || !platform::isValidUtf8(*brand)) {
    return std::nullopt;
  }
  return brand;
}

std::optional<std::string> typeOfFamily(std::uint32_t family) {
  const auto known = std::find_if(cpuFamilies.begin(), cpuFamilies.end(),
                                  [family](const auto& entry) { return entry.first == family; });
  if (known == cpuFamilies.end()) return std::nullopt;
  return std::string(known->second);
}

std::optional<std::string> typeOfSubtype(std::uint32_t type, std::uint32_t subtype) {
  if (type == typeIntel) return "Intel";
  if (type != typePowerPC) return std::nullopt;
  switch (subtype) {
    case 9:
      return "PowerPC G3";
    case 10:
    case 11:
      return "PowerPC G4";
    case 100:
      return "PowerPC G5";
    default:
      return std::nullopt;
  }
}

}  // namespace

TXSystemInfo::TXSystemInfo(const platform::SystemControl& system, const platform::Screen& screen,
                           const platform::Device& device)
    : system_(system), screen_(screen), device_(device) {}

const Dictionary& TXSystemInfo::getSystemInfo() const {
  std::call_once(once_, [this] {
    info_ = Dictionary{
        {"osVersion", description(osVersion())},      {"device_model", description(machineModel())},
        {"ram_size", std::to_string(ramSize())},      {"cpu_type", description(cpuType())},
        {"cpu_speed", std::to_string(cpuSpeed())},    {"cpu_count", std::to_string(cpuCount())},
        {"cpu_64bits", is64bit() ? "true" : "false"}, {"dim", deviceScreenSize()},
    };
  });
  return info_;
}

std::optional<std::string> TXSystemInfo::osVersion() const {
  constexpr std::string_view prefix = "Version ";
  auto version = device_.operatingSystemVersionString();
  if (version && version->starts_with(prefix)) version->erase(0, prefix.size());
  return version;
}

std::optional<std::string> TXSystemInfo::machineModel() const { return system_.text("hw.machine"); }

std::int64_t TXSystemInfo::ramSize() const {
  const auto bytes = system_.integer("hw.memsize");
  return bytes ? *bytes / 1'048'576 : -1;
}

std::int64_t TXSystemInfo::cpuSpeed() const {
  const auto hertz = system_.integer(hardwareClass, cpuFrequencyItem);
  return hertz ? *hertz / 1'000'000 : -1;
}

std::int32_t TXSystemInfo::cpuCount() const { return clampTo<std::int32_t>(system_.integer("hw.ncpu").value_or(1)); }

bool TXSystemInfo::is64bit() const {
  for (const std::string_view name : {"hw.cpu64bit_capable", "hw.optional.x86_64", "hw.optional.64bitops"}) {
    if (const auto capable = query32(system_, name)) return *capable == 1;
  }
  return false;
}

std::optional<std::string> TXSystemInfo::architecture() const {
  const auto type = query32(system_, "hw.cputype");
  if (type == typePowerPC) return "PPC";
  if (type == typeIntel) return "Intel";
  return std::nullopt;
}

std::optional<std::string> TXSystemInfo::cpuType() const {
  const auto type = query32(system_, "hw.cputype");
  if (!type) return std::nullopt;
  if (*type == typeArm64) return query32(system_, "hw.cpusubtype") == 1U ? "ARM64_V8" : "ARM64";
  if (*type == typeArm) return armType(query32(system_, "hw.cpusubtype"));
  if (*type == typeIntel) {
    if (auto brand = intelBrand(system_)) return brand;
  }
  if (const auto family = query32(system_, "hw.cpufamily")) return typeOfFamily(*family);
  const auto subtype = query32(system_, "hw.cpusubtype");
  return subtype ? typeOfSubtype(*type, *subtype) : std::nullopt;
}

Dictionary TXSystemInfo::deviceScreenSize() const {
  const platform::PixelSize size = screen_.nativeBounds().value_or(platform::PixelSize{});
  return Dictionary{{"x_px", size.width}, {"y_px", size.height}};
}

}  // namespace trovix
