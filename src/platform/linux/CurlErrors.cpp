#include "platform/linux/CurlErrors.h"

#include <curl/curl.h>

#include <array>
#include <utility>

#include "trovix/platform/URLSession.h"

namespace trovix::platform {
namespace {

constexpr std::array<std::pair<std::int64_t, const char*>, 13> messages{{
    {urlError::cancelled, "cancelled"},
    {urlError::badURL, "bad URL"},
    {urlError::timedOut, "The request timed out."},
    {urlError::unsupportedURL, "unsupported URL"},
    {urlError::cannotFindHost, "A server with the specified hostname could not be found."},
    {urlError::cannotConnectToHost, "Could not connect to the server."},
    {urlError::networkConnectionLost, "The network connection was lost."},
    {urlError::httpTooManyRedirects, "too many HTTP redirects"},
    {urlError::badServerResponse, "bad server response"},
    {urlError::appTransportSecurityRequiresSecureConnection,
     "The resource could not be loaded because plain HTTP connections are refused."},
    {urlError::dataLengthExceedsMaximum, "resource exceeds maximum size"},
    {urlError::secureConnectionFailed, "A TLS error has occurred and a secure connection cannot be made."},
    {urlError::serverCertificateUntrusted, "The certificate for this server is invalid."},
}};

}  // namespace

Error urlLoadingError(std::int64_t code, const std::string& url) {
  std::string message = "unknown error";
  for (const auto& [known, text] : messages) {
    if (known == code) message = text;
  }
  return Error(urlErrorDomain, code, {{Error::localizedDescriptionKey, message}, {urlError::failingURLStringKey, url}});
}

std::int64_t urlErrorCode(int code) noexcept {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return urlError::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
    case CURLE_INTERFACE_FAILED:
      return urlError::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return urlError::timedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return urlError::networkConnectionLost;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return urlError::serverCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_SHUTDOWN_FAILED:
      return urlError::secureConnectionFailed;
    case CURLE_URL_MALFORMAT:
      return urlError::badURL;
    default:
      return urlError::badServerResponse;
  }
}

}  // namespace trovix::platform
