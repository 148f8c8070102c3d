#include "common/Encoding.h"

#include "common/Log.h"
#include "common/TXSDKError.h"
#include "platform/Json.h"
#include "platform/Url.h"

namespace trovix {
namespace {

constexpr platform::AllowedBytes queryBytes = platform::allowedBytes("-._~!$&'()*+,;=:@/?");
constexpr platform::AllowedBytes unreservedBytes = platform::allowedBytes("-._~");

}  // namespace

std::string TXSDKPercentEscapes(std::string_view text) { return platform::percentEncode(text, queryBytes); }

std::string txsdk_escapeString(std::string_view text) { return platform::percentEncode(text, unreservedBytes); }

std::optional<std::string> txsdk_queryString(const Dictionary& parameters) {
  if (parameters.empty()) return std::nullopt;
  std::string query;
  for (const auto& [key, value] : parameters) {
    query += query.empty() ? '?' : '&';
    if (const std::string* text = value.string()) {
      query += txsdk_escapeString(key);
      query += '=';
      query += txsdk_escapeString(*text);
    } else {
      TX_LOG(debug, "Key `{}` ignored. Unsupported format.", key);
    }
  }
  return query;
}

std::string txsdk_stringify(const Dictionary& dictionary) {
  auto text = platform::writeJson(dictionary);
  if (text) return std::move(text).value();
  TX_LOG(error, "Error serializing JSON for stringify {}", text.error());
  return {};
}

Result<Value> txsdk_json(const std::optional<Data>& data, bool allowFragments) {
  if (!data) {
    return TXSDKError::errorWithDomain(TXSDKSerializationErrorDomain, 62, {}, "NSData parameter is `nil`",
                                       std::nullopt);
  }
  auto parsed = platform::parseJson(*data, allowFragments);
  if (parsed && parsed->array() != nullptr) {
    return TXSDKError::errorWithDomain(TXSDKSerializationErrorDomain, 60, {}, "Root object is an Array", std::nullopt);
  }
  return parsed;
}

}  // namespace trovix
