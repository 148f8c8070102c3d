#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Json.h"
#include "platform/Text.h"
#include "support/SimulatedDevice.h"
#include "trovix/TrovixLib.h"

// What the fuzz targets share.
namespace trovix::fuzz {

/// A promise that does not hold ends the run, and the fuzzer keeps the input.
template <typename T>
void require(const T& holds) {
  if (!holds) std::abort();
}

/// Takes an input apart from its front. Past the end everything is zero or empty.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t size) : rest_(reinterpret_cast<const char*>(bytes), size) {}

  std::uint8_t byte() {
    if (rest_.empty()) return 0;
    const auto first = static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return first;
  }
  /// Up to the next line feed, which is taken too.
  std::string line() {
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    const std::string taken(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return taken;
  }
  [[nodiscard]] std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

/// Whether the dictionary has a text in JSON that reads back as the same.
inline bool isJson(const Dictionary& dictionary) {
  const auto text = platform::writeJson(dictionary);
  if (!text || !platform::isValidUtf8(*text)) return false;
  const auto again = platform::parseJson(*text);
  return again && *again == Value(dictionary);
}

/// Whether storage kept the value: what is no number stays none, and a date moves by a microsecond at most.
inline bool isKept(const Value& before, const Value& after) {
  if (before.kind() != after.kind()) return false;
  if (const Array* array = before.array()) {
    return std::equal(array->begin(), array->end(), after.array()->begin(), after.array()->end(), isKept);
  }
  if (const Dictionary* dictionary = before.dictionary()) {
    return dictionary->size() == after.dictionary()->size() &&
           std::all_of(dictionary->begin(), dictionary->end(), [&](const Dictionary::Entry& entry) {
             const Value* other = after.dictionary()->find(entry.first);
             return other != nullptr && isKept(entry.second, *other);
           });
  }
  const auto same = [](double a, double b, double error) {
    return a == b || std::abs(a - b) <= error || (std::isnan(a) && std::isnan(b));
  };
  if (const Date* date = before.date()) return same(date->secondsSince1970, after.date()->secondsSince1970, 2e-6);
  return before.kind() == Value::Kind::real ? same(before.doubleValue(), after.doubleValue(), 0) : before == after;
}

/// An application with the SDK in it. The network is up and answers "{}".
struct Application {
  explicit Application(std::shared_ptr<test::SimulatedDisk> disk = std::make_shared<test::SimulatedDisk>())
      : device(std::move(disk)) {
    device.network.defaultAnswer = {};
    configure(sdk);
    device.runUntilIdle();
  }
  static void configure(TrovixLib& sdk) {
    sdk.setTrovixDevKey("AbCdEfGhIjKlMn");
    sdk.setAppleAppID(Value("1234567890"));
    sdk.setAppInviteVeyra("tmpl");
    sdk.setDisableCollectASA(true);
  }

  test::SimulatedDevice device;
  TrovixLib sdk{device};
};

/// Virtual seconds past every retry and time-out.
inline constexpr double longEnough = 300;

}  // namespace trovix::fuzz
