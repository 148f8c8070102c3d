#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/PartnerDataRecord.h"
#include "core/TXSDKSKAdNetwork.h"
#include "device/FrameworkLoader.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageFactory.h"
#include "support/SimulatedDevice.h"
#include "trovix/Json.h"

namespace trovix {
namespace {

using Outcome = SKAdConfigurationResult;

Array eventNames(std::size_t count) {
  Array names;
  for (std::size_t i = 0; i < count; ++i) names.emplace_back("e" + std::to_string(i));
  return names;
}

/// One process with its own rule keeper; another over the same disk is the next launch.
struct Process {
  explicit Process(std::shared_ptr<test::SimulatedDisk> disk = std::make_shared<test::SimulatedDisk>())
      : device(std::move(disk)) {}

  std::int32_t update(const std::string& name, const Dictionary& values = {}) {
    return keeper.willUpdateConversionValueWithName(name, values);
  }

  test::SimulatedDevice device;
  FrameworkLoader loader{device.frameworks};
  std::unique_ptr<TXSDKStorageProtocol> storage =
      TXSDKStorageFactory(device.userDefaults, device.bundle).defaultStorage();
  TXSDKSKAdNetwork keeper{device.platform(), loader, *storage};
};

Value nestedArrays(std::size_t depth) {
  Value value = Array{};
  for (std::size_t i = 1; i < depth; ++i) value = Array{std::move(value)};
  return value;
}

Value rules(Dictionary fields) { return Dictionary{{"sk_rules", std::move(fields)}}; }

TEST(SKAdRule, GivesTheCandidateOfEachMode) {
  const double infinity = std::numeric_limits<double>::infinity();
  struct Case {
    const char* about;
    Dictionary rule;
    std::string event;
    Dictionary values;
    std::int32_t expected;  // a raised value, or the current one negated
  };
  const Dictionary revenue{{"ex", 10}, {"di", 3}};
  const Dictionary narrowBits{{"ev", eventNames(7)}, {"ms", 0}};
  const Case cases[] = {
      {"the event that counts", {{"en", "level"}}, "level", {}, 1},
      {"another event", {{"en", "level"}}, "other", {}, 0},
      {"revenue rounds up", revenue, "tx_purchase", {{"tx_price", 1}}, 4},
      {"a price as text", revenue, "tx_purchase", {{"tx_price", "1.00"}}, 4},
      {"revenue of another event", revenue, "level", {{"tx_price", 1}}, 0},
      {"no price", revenue, "tx_purchase", {}, 0},
      {"an infinite price is capped", revenue, "tx_purchase", {{"tx_price", infinity}}, 63},
      {"a price that is no number", revenue, "tx_purchase", {{"tx_price", std::nan("")}}, 0},
      {"a tiny divisor is capped", {{"ex", 10}, {"di", 1e-308}}, "tx_purchase", {{"tx_price", 1}}, 63},
      {"a refund", revenue, "tx_purchase", {{"tx_price", -5}}, 0},
      {"a position is a bit", narrowBits, "e2", {}, 4},
      {"a null keeps its position", {{"ev", Array{"e0", nullptr, "e2"}}}, "e2", {}, 4},
      {"so does what is nested too deep to send", {{"ev", Array{"e0", nestedArrays(62), "e2"}}}, "e2", {}, 4},
      {"a high position without the sixth bit", narrowBits, "e5", {}, 0},
      {"a high position with it", {{"ev", eventNames(7)}, {"ms", 1}}, "e5", {}, -32},
      {"a low position with it", {{"ev", eventNames(7)}, {"ms", 1}}, "e1", {}, 34},
      {"a position past the last bit is capped", {{"ev", eventNames(70)}}, "e69", {}, 63},
      {"a cap of 31", {{"s2s", true}, {"ms", 0}}, "any", {{"conversion_value_s2s", 40}}, 31},
      {"a cap of 63 when the flag is absent", {{"s2s", true}}, "any", {{"conversion_value_s2s", 99}}, 63},
      {"event names win over the event name", {{"en", "e0"}, {"ev", eventNames(3)}}, "e1", {}, 2},
      {"revenue needs both numbers", {{"en", "level"}, {"ex", 10}, {"di", 0}}, "level", {}, 1},
      {"wrong types are no rule", {{"en", 7}, {"ev", "e0"}, {"ex", "1"}, {"di", "1"}, {"s2s", "true"}}, "e0", {}, 0}};
  for (const Case& c : cases) {
    Process process;
    EXPECT_EQ(process.keeper.didReceiveConfiguration(rules(c.rule)), Outcome::applied) << c.about;
    EXPECT_EQ(process.update(c.event, c.values), c.expected) << c.about;
    const auto stored = process.storage->dictionaryForKey(storageKey::conversionRules);
    ASSERT_TRUE(stored) << c.about;
    EXPECT_TRUE(jsonText(Dictionary{{"sk_rules", *stored}})) << c.about;
  }
}

TEST(SKAdRule, StaysAsItIsOnceAppliedAndIsKeptForTheNextProcess) {
  const auto disk = std::make_shared<test::SimulatedDisk>();
  {
    Process process(disk);
    EXPECT_EQ(process.keeper.didReceiveConfiguration(std::nullopt), Outcome::notADictionary);
    EXPECT_EQ(process.keeper.didReceiveConfiguration(Value("text")), Outcome::notADictionary);
    EXPECT_EQ(process.keeper.didReceiveConfiguration(Dictionary{{"other", 1}}), Outcome::noRules);
    EXPECT_EQ(process.keeper.didReceiveConfiguration(rules({{"ev", eventNames(3)}, {"wi", 1}})), Outcome::applied);
    EXPECT_EQ(process.keeper.didReceiveConfiguration(rules({{"en", "late"}})), Outcome::alreadyInForce);
    EXPECT_EQ(process.update("e1"), 2);
    EXPECT_EQ(process.update("e1"), -2) << "nothing rises, nothing is told";
    EXPECT_EQ(process.device.frameworks.network.registrationCount, 1u);
    EXPECT_EQ(process.device.frameworks.network.values, std::vector<std::int64_t>{2});
    const auto stored = process.storage->dictionaryForKey(storageKey::conversionRules);
    ASSERT_TRUE(stored);
    EXPECT_EQ(*stored, (Dictionary{{"sk_rules", Dictionary{{"wi", 1}, {"ev", eventNames(3)}}},
                                   {"sk_exp", process.device.now() + 3600}}));
  }
  Process next(disk);
  EXPECT_EQ(next.update("e0"), 3) << "the value goes on from where it was";
  EXPECT_TRUE(next.device.frameworks.network.values.empty()) << "a stored rule reports to nobody";
  next.device.setNow(next.device.now() + 3600);
  EXPECT_FALSE(next.keeper.isSKWindowExpired());
  next.device.setNow(next.device.now() + 0.5);
  EXPECT_TRUE(next.keeper.isSKWindowExpired());
  EXPECT_EQ(next.update("e2"), 0);
}

TEST(SKAdRule, IsNotKeptWhenThePlatformCannotRegister) {
  Process process;
  process.device.frameworks.network.canRegister = false;
  EXPECT_EQ(process.keeper.didReceiveConfiguration(rules({{"en", "level"}, {"wi", 1e300}})), Outcome::cannotRegister);
  EXPECT_FALSE(process.storage->dictionaryForKey(storageKey::conversionRules));
  EXPECT_EQ(process.update("level"), 1) << "the rule is in force all the same, its window bounded";
}

TEST(PartnerDataRecord, KeepsWhatFitsAndRemembersWhatDidNot) {
  // {"k":"..."}: eight characters around the value; the sign counts two units.
  const auto information = [](std::size_t length) {
    return Dictionary{{"k", "\U0001F600" + std::string(length - 10, 'x')}};
  };
  PartnerDataRecord record;
  EXPECT_FALSE(record.partnerData());
  record.setPartnerDataWithPartnerId("a", information(1000));
  record.setPartnerDataWithPartnerId("b", information(1001));
  record.setPartnerDataWithPartnerId("", information(20));
  EXPECT_EQ(*record.partnerData(), (Dictionary{{"a", information(1000)}}));
  EXPECT_EQ(*record.error(), (Dictionary{{"b", Dictionary{{"error", "limit_exceeded: 1001"}}}}));

  record.setPartnerDataWithPartnerId("a", std::nullopt);
  record.setPartnerDataWithPartnerId("b", information(20));
  EXPECT_EQ(*record.partnerData(), (Dictionary{{"b", information(20)}})) << "passing nothing clears";
  EXPECT_TRUE(record.error()->empty());
}

}  // namespace
}  // namespace trovix
