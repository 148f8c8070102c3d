#include "network/TXSDKEvent.h"

#include <exception>
#include <utility>

#include "common/ClampTo.h"
#include "common/DictionaryReads.h"
#include "common/Log.h"
#include "common/TrovixAES128Crypto.h"
#include "common/Version.h"
#include "device/TrovixUtils.h"
#include "network/Signing.h"

namespace trovix {
namespace {

// The server tells a digest that gave nothing from one that broke by these.
constexpr const char* checksumOfNothing = "d7a1c0e93b5f4a2880c6e1f47b9d2e15";
constexpr const char* checksumOfFailure = "d7a2c0e93b5f4a2880c6e1f47b9d2e15";

// What an event without data is sent as.
constexpr std::uint8_t noDataMarker = 255;

const Value* parameter(const std::optional<Dictionary>& parameters, std::string_view key) noexcept {
  return parameters ? parameters->find(key) : nullptr;
}

std::optional<Value> copyOf(const Value* value) {
  return value != nullptr ? std::optional<Value>(*value) : std::nullopt;
}

std::optional<std::string> textParameter(const std::optional<Dictionary>& parameters, std::string_view key) {
  return parameters ? textAt(*parameters, key) : std::nullopt;
}

bool hasPropertyListExtension(std::string_view path) noexcept {
  constexpr std::string_view extension = ".plist";
  const std::string_view name = path.substr(path.rfind('/') + 1);
  // A name that is nothing but the extension has none.
  return name.size() > extension.size() && name.ends_with(extension);
}

std::string checksumOf(TXSDKChecksum& checksum, double timestamp, const std::optional<std::string>& bundleIdentifier,
                       const std::optional<std::string>& key) {
  try {
    return checksum.calculate(timestamp, bundleIdentifier.value_or(""), key.value_or("(null)"), false)
        .value_or(checksumOfNothing);
  } catch (const std::exception&) {
    return checksumOfFailure;
  }
}

}  // namespace

TXSDKEvent::TXSDKEvent(Dictionary parametersGiven, std::optional<std::string> URLGiven,
                       std::optional<std::string> SDKVersionGiven, std::uint64_t optionsGiven)
    : parameters(std::move(parametersGiven)),
      URL(std::move(URLGiven)),
      SDKVersion(std::move(SDKVersionGiven)),
      options(optionsGiven) {}

TXSDKEvent TXSDKEvent::fromFilePath(std::string path) {
  TXSDKEvent event;
  event.filePath = std::move(path);
  return event;
}

std::optional<std::string> TXSDKEvent::key() const { return textParameter(parameters, "dev_key"); }
std::optional<Value> TXSDKEvent::timestamp() const { return copyOf(parameter(parameters, "timestamp")); }
std::optional<std::string> TXSDKEvent::bundleIdentifier() const {
  return textParameter(parameters, "bundleIdentifier");
}
std::optional<Value> TXSDKEvent::launchCnt() const { return copyOf(parameter(parameters, "counter")); }
std::optional<Value> TXSDKEvent::inAppCnt() const { return copyOf(parameter(parameters, "iaecounter")); }

std::string TXSDKEvent::UUID() const {
  return fmt::format("{}-{}", static_cast<std::int64_t>(options), description(parameter(parameters, "timestamp")));
}

bool TXSDKEvent::isValid() const {
  return filePath && hasPropertyListExtension(*filePath) && URL && parameters && SDKVersion == sdkVersion;
}

void TXSDKEvent::sign(TXSDKChecksum& checksum) {
  if (!parameters) return;
  const Value timestampValue = timestamp().value_or(Value());
  parameters->set("cksm_v1", checksumOf(checksum, timestampValue.doubleValue(), bundleIdentifier(), key()));
  parameters->set("ref", checksum.runtimeIntegrity(clampTo<std::int32_t>(timestampValue.integerValue()) % 100));
}

std::optional<Data> TXSDKEvent::data() const {
  std::int64_t statusCode = 0;
  auto json = TrovixUtils::JSONFromParameters(parameters, statusCode);
  if (statusCode != 0) TX_LOG(debug, "[HTTP] Event sereliazation failure: {}\n", statusCode);
  return json;
}

Data TXSDKEvent::encryptWithData(const std::optional<Data>& plain) const {
  if (!plain) return {noDataMarker};
  return TrovixAES128Crypto::encrypt(*plain, key().value_or("")).value_or(Data{noDataMarker});
}

}  // namespace trovix
