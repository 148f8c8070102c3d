#include <exception>
#include <utility>

#include "device/TrovixUtils.h"
#include "platform/Crypto.h"
#include "platform/Json.h"
#include "platform/WithoutNulls.h"

namespace trovix {

namespace {

constexpr std::int64_t statusNotJson = -1;
constexpr std::int64_t statusRaised = -2;

}  // namespace

std::optional<Data> TrovixUtils::JSONFromParameters(const std::optional<Dictionary>& parameters,
                                                    std::int64_t& statusCode) {
  if (!parameters) {
    statusCode = statusNotJson;
    return std::nullopt;
  }
  try {
    // It refuses exactly what is no JSON object.
    if (const auto text = platform::writeJson(*parameters)) {
      const platform::Bytes bytes = platform::bytesOf(*text);
      return Data(bytes.begin(), bytes.end());
    }
    statusCode = statusNotJson;
  } catch (const std::exception&) {
    statusCode = statusRaised;
  }
  return std::nullopt;
}

std::string TrovixUtils::unite(const std::vector<std::string>& parts) {
  std::string whole;
  for (const std::string& part : parts) whole += part;
  return whole;
}

Dictionary TrovixUtils::recursivelyRemoveNulls(const Dictionary& dictionary) {
  return std::move(*platform::withoutNulls(dictionary).dictionary());
}

Array TrovixUtils::recursivelyRemoveNullsFromArray(const Array& array) {
  return std::move(*platform::withoutNulls(array).array());
}

}  // namespace trovix
