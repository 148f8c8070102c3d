#include "core/TXSDKSKAdNetwork.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/ClampTo.h"
#include "common/Log.h"
#include "device/FrameworkLoader.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/ClassRegistry.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/Frameworks.h"

namespace trovix {
namespace {

constexpr double secondsPerHour = 3600;
constexpr std::int32_t startWithHighBit = 32;
constexpr std::size_t firstHighBit = 5;
constexpr std::size_t lastBit = 5;

std::int64_t revenueCandidate(const SKAdRule& rule, const std::string& name, const Dictionary& values) {
  const std::int64_t current = rule.sk_conversion_val;
  const Value* price = values.find("tx_price");
  if (name != "tx_purchase" || price == nullptr || rule.di == 0 || rule.ex == 0) return current;
  const double amount = price->doubleValue();
  if (amount == 0) return current;
  const double candidate = static_cast<double>(current) + std::ceil(amount * rule.ex / rule.di);
  return std::isnan(candidate) ? current : saturatingInteger(candidate);
}

std::int64_t bitsCandidate(const SKAdRule& rule, const std::string& name) {
  const auto found = std::find(rule.ev.begin(), rule.ev.end(), Value(name));
  if (found == rule.ev.end()) return rule.sk_conversion_val;
  const auto position = static_cast<std::size_t>(found - rule.ev.begin());
  if (position >= firstHighBit && rule.ms == 0) return rule.sk_conversion_val;
  // A bit past the last one lies above the cap, whatever its number.
  if (position > lastBit) return std::numeric_limits<std::int64_t>::max();
  return rule.sk_conversion_val | (std::int64_t{1} << position);
}

/// The names at their bits' positions. What is no name only holds its place, so that the names behind it keep theirs,
/// and nothing that storage or a request cannot carry gets into the rule.
Array namesAtBits(Array ev) {
  std::replace_if(
      ev.begin(), ev.end(), [](const Value& entry) { return entry.string() == nullptr; }, Value(false));
  return ev;
}

}  // namespace

std::int64_t SKAdRuleIncrement(const SKAdRule& rule, std::int64_t value) noexcept {
  constexpr std::int64_t highestValue = 63;
  return std::min(value, highestValue >> (1 - (rule.ms & 1)));
}

std::int64_t SKAdRuleCandidate(const SKAdRule& rule, const std::string& name, const Dictionary& values) {
  std::int64_t candidate = rule.sk_conversion_val;
  switch (rule.mode) {
    case SKAdMode::none:
      break;
    case SKAdMode::eventName:
      candidate += name == rule.en ? 1 : 0;
      break;
    case SKAdMode::revenue:
      candidate = revenueCandidate(rule, name, values);
      break;
    case SKAdMode::eventBits:
      candidate = bitsCandidate(rule, name);
      break;
    case SKAdMode::serverToServer: {
      const Value* value = values.find("conversion_value_s2s");
      candidate = value != nullptr ? value->integerValue() : 0;
      break;
    }
  }
  return SKAdRuleIncrement(rule, candidate);
}

TXSDKSKAdNetwork::TXSDKSKAdNetwork(platform::Platform& platform, FrameworkLoader& loader, TXSDKStorageProtocol& storage)
    : platform_(platform), loader_(loader), storage_(storage) {
  std::optional<Value> stored;
  if (auto rules = storage.dictionaryForKey(storageKey::conversionRules)) stored = Value(*std::move(rules));
  const auto result = didReceiveConfiguration(stored);
  TX_LOG(debug, "[SKAd] Loaded configuration: {}\n", static_cast<int>(result));
}

SKAdRule TXSDKSKAdNetwork::makeRule(const Dictionary& rules, Dictionary& normalized) const {
  SKAdRule rule;
  if (const Value* wi = rules.find("wi"); wi != nullptr && wi->isNumber()) {
    rule.wi = clampTo<std::int16_t>(wi->integerValue());
  }
  normalized.set("wi", rule.wi);
  if (const Value* s2s = rules.find("s2s"); s2s != nullptr && *s2s == Value(true)) {
    rule.s2s = true;
    rule.mode = SKAdMode::serverToServer;
    normalized.set("s2s", true);
  }
  if (const std::string* en = rules.string("en")) {
    rule.en = *en;
    rule.mode = SKAdMode::eventName;
    normalized.set("en", rule.en);
  }
  const Value* ex = rules.find("ex");
  const Value* di = rules.find("di");
  if (ex != nullptr && di != nullptr && ex->isNumber() && di->isNumber() && ex->doubleValue() != 0 &&
      di->doubleValue() != 0) {
    rule.ex = ex->doubleValue();
    rule.di = di->doubleValue();
    rule.mode = SKAdMode::revenue;
    normalized.set("di", rule.di);
    normalized.set("ex", rule.ex);
  }
  if (const Array* ev = rules.array("ev")) {
    rule.ev = namesAtBits(*ev);
    rule.mode = SKAdMode::eventBits;
    normalized.set("ev", rule.ev);
  }
  if (const Value* ms = rules.find("ms"); ms != nullptr && ms->isNumber()) {
    rule.ms = ms->boolValue() ? 1 : 0;
    normalized.set("ms", rule.ms);
  }
  // A negative number is none of ours: values start at 0 and only grow.
  rule.sk_conversion_val = std::max(0, clampTo<std::int32_t>(storage_.integerForKey(storageKey::conversionValue)));
  if (rule.sk_conversion_val == 0 && rule.ms == 1) rule.sk_conversion_val = startWithHighBit;
  return rule;
}

SKAdConfigurationResult TXSDKSKAdNetwork::didReceiveConfiguration(const std::optional<Value>& configuration) {
  {
    const platform::MutexLock lock(mutex_);
    if (rule_.mode != SKAdMode::none) return SKAdConfigurationResult::alreadyInForce;
  }
  const Dictionary* fields = configuration ? configuration->dictionary() : nullptr;
  if (fields == nullptr) return SKAdConfigurationResult::notADictionary;
  const Dictionary* rules = fields->dictionary("sk_rules");
  if (rules == nullptr) return SKAdConfigurationResult::noRules;

  Dictionary normalizedRules;
  SKAdRule rule = makeRule(*rules, normalizedRules);
  Dictionary normalized{{"sk_rules", std::move(normalizedRules)}};
  const Value* end = fields->find("sk_exp");
  const bool isStored = end != nullptr && end->isNumber();
  rule.sk_exp = isStored ? end->doubleValue() : platform_.clock.now() + rule.wi * secondsPerHour;
  if (!isStored) normalized.set("sk_exp", rule.sk_exp);
  {
    const platform::MutexLock lock(mutex_);
    if (rule_.mode != SKAdMode::none) return SKAdConfigurationResult::alreadyInForce;
    rule_ = rule;
  }
  return isStored ? SKAdConfigurationResult::appliedFromStorage : registerWithPlatform(rule, normalized);
}

SKAdConfigurationResult TXSDKSKAdNetwork::registerWithPlatform(const SKAdRule& rule, const Dictionary& normalized) {
  platform::SKAdNetworkClass* adNetwork = platform_.classRegistry.hasClass("SKAdNetwork")
                                              ? platform_.frameworks.adNetwork()
                                              : loader_.txsdk_SKAdNetworkClass();
  {
    const platform::MutexLock lock(mutex_);
    adNetwork_ = adNetwork;
  }
  if (adNetwork == nullptr || !adNetwork->respondsToRegisterApp()) return SKAdConfigurationResult::cannotRegister;
  adNetwork->registerAppForAdNetworkAttribution();
  TX_LOG(debug, "[SKAd] Rule written: {}\n", normalized);
  storage_.setInteger(rule.sk_conversion_val, storageKey::conversionValue);
  storage_.setDictionary(normalized, storageKey::conversionRules);
  return SKAdConfigurationResult::applied;
}

std::int32_t TXSDKSKAdNetwork::willUpdateConversionValueWithName(const std::string& name,
                                                                 const std::optional<Dictionary>& values) {
  const Dictionary none;
  bool hasRule = false;
  double end = 0;
  std::int32_t raised = 0;  // a raised value is never 0
  platform::SKAdNetworkClass* adNetwork = nullptr;
  {
    const platform::MutexLock lock(mutex_);
    hasRule = rule_.mode != SKAdMode::none;
    end = rule_.sk_exp;
    if (hasRule && !(platform_.clock.now() > end)) {
      const std::int64_t candidate = SKAdRuleCandidate(rule_, name, values ? *values : none);
      if (rule_.sk_conversion_val >= candidate) return -rule_.sk_conversion_val;
      raised = rule_.sk_conversion_val = clampTo<std::int32_t>(candidate);
      adNetwork = adNetwork_;
    }
  }
  if (!hasRule) {
    TX_LOG(debug, "[SKAd] No SKAdRule found\n");
  } else if (raised == 0) {
    TX_LOG(debug, "[SKAd] Times out. sk_exp = {:f}\n", end);
  } else {
    storage_.setInteger(raised, storageKey::conversionValue);
    if (adNetwork != nullptr && adNetwork->respondsToUpdateConversionValue()) adNetwork->updateConversionValue(raised);
    TX_LOG(debug, "[SKAd] updateConversionValue: {}\n", raised);
  }
  return raised;
}

bool TXSDKSKAdNetwork::isSKWindowExpired() const {
  const platform::MutexLock lock(mutex_);
  return platform_.clock.now() > rule_.sk_exp;
}

bool TXSDKSKAdNetwork::isS2SModeEnabled() const {
  const platform::MutexLock lock(mutex_);
  return rule_.mode == SKAdMode::serverToServer;
}

}  // namespace trovix
