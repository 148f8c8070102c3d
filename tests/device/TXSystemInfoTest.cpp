#include "device/TXSystemInfo.h"

#include "common/CompareVersions.h"
#include "support/SimulatedDevice.h"
#include "support/Testing.h"
#include "trovix/Json.h"

namespace trovix {

struct TXSystemInfoTest : testing::Test {
  test::SimulatedDevice device;
  test::SimulatedSystemControl& system = device.systemControl;
  TXSystemInfo info{system, device.screen, device.facts};
};

TEST_F(TXSystemInfoTest, DescribesThePhoneOnceAndForAll) {
  system.integers["hw.memsize"] = 8'589'934'592 + 1'048'575;
  system.integers["hw.optional.x86_64"] = 2;  // asked before the one that says 1
  system.numbered[{6, 15}] = 2'400'999'999;
  const char* expected =
      R"j({"osVersion":"17.2 (Build 21C62)","device_model":"iPhone14,5","ram_size":"8192","cpu_type":"ARM64",)j"
      R"j("cpu_speed":"2400","cpu_count":"6","cpu_64bits":"false","dim":{"x_px":1170,"y_px":2532}})j";
  EXPECT_EQ(jsonText(info.getSystemInfo()), expected);
  system.integers.clear();
  EXPECT_EQ(jsonText(info.getSystemInfo()), expected);
}

TEST_F(TXSystemInfoTest, WhatIsNotKnownTakesItsDefault) {
  system.texts.clear();
  system.integers.clear();
  device.screen.bounds.reset();
  device.facts.versionText.reset();
  EXPECT_EQ(jsonText(info.getSystemInfo()),
            R"j({"osVersion":"(null)","device_model":"(null)","ram_size":"-1","cpu_type":"(null)","cpu_speed":"-1",)j"
            R"j("cpu_count":"1","cpu_64bits":"false","dim":{"x_px":0,"y_px":0}})j");
}

TEST_F(TXSystemInfoTest, NamesTheProcessor) {
  // Type, subtype and family; a query for 0 fails.
  const std::tuple<int, int, std::int64_t, std::string, std::optional<std::string>> cases[] = {
      {0x100000C, 1, 0, "brand", "ARM64_V8"},
      {7, 0, 0x1f65e835, "Some CPU @ 2.40GHz", "Some CPU @ 2.40GHz"},
      {7, 0, 0x582ed09c, "\xff", "Intel Core M/i5/i7 (Haswell)"},
      {18, 0, -823913143, "brand", "PowerPC G3"},  // the signed reading of 0xcee41549
      {99, 9, 0, "", {}}};
  for (const auto& [type, subtype, family, brand, expected] : cases) {
    system.integers = {{"hw.cputype", type}, {"hw.cpusubtype", subtype}, {"hw.cpufamily", family}};
    std::erase_if(system.integers, [](const auto& entry) { return entry.second == 0; });
    system.texts["machdep.cpu.brand_string"] = brand;
    EXPECT_EQ(info.cpuType(), expected) << type << ' ' << subtype << ' ' << family;
  }
}

TEST(CompareVersionsTest, ComparesNumbersAndNotText) {
  const std::tuple<std::string_view, std::string_view, int> cases[] = {
      {"14", "14.0", 0},      {"14.10", "14.3", 1},    {"9.3", "14", -1},
      {"14.2.9", "14.3", -1}, {"014.3b2", "14.03", 0}, {"99999999999999999999999.1", "99999999999999999999998.2", 1}};
  for (const auto& [a, b, order] : cases) {
    EXPECT_EQ(compareVersions(a, b), order) << a << " to " << b;
    EXPECT_EQ(compareVersions(b, a), -order) << b << " to " << a;
  }
}

}  // namespace trovix
