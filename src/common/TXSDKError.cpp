#include "common/TXSDKError.h"

namespace trovix {

Error TXSDKError::errorWithDomain(std::string_view domain, std::int64_t code, const Dictionary& userInfo,
                                  const std::optional<std::string>& message,
                                  const std::optional<Error>& underlyingError) {
  Dictionary information = userInfo;
  information.setIfPresent(Error::localizedDescriptionKey, message);
  if (underlyingError) return {std::string(domain), code, std::move(information), *underlyingError};
  return {std::string(domain), code, std::move(information)};
}

Error TXSDKError::errorWithDomain(std::string_view domain, std::string message,
                                  const std::optional<Error>& underlyingError) {
  return errorWithDomain(domain, 0, {}, std::move(message), underlyingError);
}

Error TXSDKError::Unexpected() {
  return errorWithDomain(TXSDKUnexpectedErrorDomain, 100, {}, "Unexpected error", std::nullopt);
}

}  // namespace trovix
