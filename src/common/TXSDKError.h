#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "trovix/Error.h"

namespace trovix {

inline constexpr const char* TXSDKUnexpectedErrorDomain = "example.trovix.sdk.unexpected";
inline constexpr const char* TXSDKDeeplinkErrorDomain = "example.trovix.sdk.deeplink";
inline constexpr const char* TXSDKEventErrorDomain = "example.trovix.sdk.event";
inline constexpr const char* TXSDKSerializationErrorDomain = "example.trovix.sdk.serialize";
inline constexpr const char* TXSDKNetworkErrorDomain = "example.trovix.sdk.network";
inline constexpr const char* TXSDKGCDErrorDomain = "example.trovix.sdk.gcd";
inline constexpr const char* TXSDKPurchaseValidationErrorDomain = "example.trovix.sdk.purchasevalidation";

/// Makes the SDK's errors. The message goes under the localised-description key, when there is one.
class TXSDKError {
 public:
  [[nodiscard]] static Error errorWithDomain(std::string_view domain, std::int64_t code, const Dictionary& userInfo,
                                             const std::optional<std::string>& message,
                                             const std::optional<Error>& underlyingError);
  [[nodiscard]] static Error errorWithDomain(std::string_view domain, std::string message,
                                             const std::optional<Error>& underlyingError = std::nullopt);
  /// Code 100, "Unexpected error".
  [[nodiscard]] static Error Unexpected();
};

}  // namespace trovix
