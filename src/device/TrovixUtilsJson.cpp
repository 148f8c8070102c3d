#include <exception>

#include "device/TrovixUtils.h"
#include "platform/Crypto.h"
#include "platform/Json.h"

namespace trovix {

namespace {

constexpr std::int64_t kStatusNotJson = -1;
constexpr std::int64_t kStatusRaised = -2;

/// A value without the nulls inside it.
Value cleaned(const Value& value) {
  if (const Dictionary* dictionary = value.dictionary()) return TrovixUtils::recursivelyRemoveNulls(*dictionary);
  if (const Array* array = value.array()) return TrovixUtils::recursivelyRemoveNullsFromArray(*array);
  return value;
}

}  // namespace

std::optional<Data> TrovixUtils::JSONFromParameters(const std::optional<Dictionary>& parameters,
                                                    std::int64_t& statusCode) {
  if (!parameters || !platform::isValidJsonObject(*parameters)) {
    statusCode = kStatusNotJson;
    return std::nullopt;
  }
  try {
    const auto text = platform::writeJson(*parameters);
    if (text) {
      const platform::Bytes bytes = platform::bytesOf(*text);
      return Data(bytes.begin(), bytes.end());
    }
    statusCode = text.error().code();
  } catch (const std::exception&) {
    statusCode = kStatusRaised;
  }
  return std::nullopt;
}

std::string TrovixUtils::unite(const std::vector<std::string>& parts) {
  std::string whole;
  for (const std::string& part : parts) whole += part;
  return whole;
}

Dictionary TrovixUtils::recursivelyRemoveNulls(const Dictionary& dictionary) {
  Dictionary result;
  result.reserve(dictionary.size());
  for (const auto& [key, value] : dictionary) {
    if (!value.isNull()) result.set(key, cleaned(value));
  }
  return result;
}

Array TrovixUtils::recursivelyRemoveNullsFromArray(const Array& array) {
  Array result;
  result.reserve(array.size());
  for (const Value& value : array) {
    if (!value.isNull()) result.push_back(cleaned(value));
  }
  return result;
}

}  // namespace trovix
