#include "network/Signing.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "common/CompareVersions.h"
#include "common/Version.h"
#include "device/TrovixUtils.h"
#include "platform/Crypto.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {
namespace {

constexpr std::size_t flagDistance = 5;
constexpr std::size_t checksumLength = 32;

/// Last decimal digit of the integer part.
std::size_t flagPosition(double timestamp) noexcept {
  const double digit = timestamp - std::floor(timestamp / 10) * 10;
  // Far from zero the difference leaves the range of a digit.
  return static_cast<std::size_t>(std::clamp<std::int64_t>(saturatingInteger(digit), 0, 9));
}

std::string_view asciiForm(std::string_view text) noexcept {
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  return ascii ? text.substr(0, text.find('\0')) : std::string_view();
}

}  // namespace

TXSDKChecksum::TXSDKChecksum(const platform::Environment& environment, const platform::Device& device,
                             const platform::Integrity& integrity)
    : environment_(environment), device_(device), integrity_(integrity) {}

std::optional<std::string> TXSDKChecksum::calculate(double timestamp, std::string_view bundleIdentifier,
                                                    std::string_view devKey, bool skipAdvancedValidation) const {
  const std::string time = TrovixUtils::sha256(fmt::format("{:f}", timestamp));
  const std::string bundle = TrovixUtils::sha256(bundleIdentifier);
  std::string checksum = TrovixUtils::md5(fmt::format("{}:{}:{}:{}", time, bundle, sdkVersion, devKey));
  if (time.empty() || bundle.empty() || checksum.size() != checksumLength) return std::nullopt;

  const bool flags[] = {isSimulator(), isDevelopmentBuild(), integrity_.isDeviceCompromised(skipAdvancedValidation),
                        isCounterValid(), integrity_.isDebuggerAttached()};
  std::size_t position = flagPosition(timestamp);
  for (const bool flag : flags) {
    checksum[position] = flag ? '1' : '0';
    position += flagDistance;
  }
  return txsdk_swap(checksum);
}

std::string TXSDKChecksum::runtimeIntegrity(std::int32_t remainder) const {
  return integrity_.runtimeIntegrity(remainder);
}

bool TXSDKChecksum::isSimulator() const {
  const auto version = device_.systemVersion();
  if (!version || compareVersions(*version, "9.0") >= 0) {
    return environment_.variable("SIMULATOR_DEVICE_NAME").has_value();
  }
  return device_.model().value_or("").find("Simulator") != std::string::npos;
}

std::string hmacForKeyAndData(std::string_view key, std::string_view data) {
  auto digest = platform::hmacSha256(platform::bytesOf(asciiForm(key)), platform::bytesOf(asciiForm(data)));
  return TrovixUtils::toHexString(digest.data(), digest.size());
}

std::string txsdk_swap(std::string_view text) {
  std::string swapped(text);
  for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
  return swapped;
}

LinkAuthorization linkAuthorization(std::string_view devKey, double now) {
  std::string timestamp = fmt::format("{:.0f}", now);
  std::string authorization = TrovixUtils::sha1(std::string(devKey) + timestamp);
  return {std::move(timestamp), std::move(authorization)};
}

std::string deferredDeepLinkSignature(std::string_view devKey, std::string_view timestamp) {
  return hmacForKeyAndData(devKey, fmt::format("{}{}", timestamp, devKey));
}

std::string millisecondTimestamp(double now) { return fmt::format("{:.0f}", now * 1000); }

std::string conversionRulesSignature(std::string_view devKey, std::string_view timestamp, std::string_view appleAppID,
                                     std::string_view uid, std::string_view currency) {
  return hmacForKeyAndData(devKey, fmt::format("{}id{}{}{}", timestamp, appleAppID, uid, currency));
}

std::string conversionValueSignature(std::string_view devKey, std::string_view timestamp, std::string_view appleAppID,
                                     std::string_view uid) {
  return hmacForKeyAndData(devKey, fmt::format("{}id{}{}", timestamp, appleAppID, uid));
}

}  // namespace trovix
