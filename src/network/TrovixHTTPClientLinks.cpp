#include <string_view>
#include <utility>

#include "common/Encoding.h"
#include "common/Log.h"
#include "network/Signing.h"
#include "network/TrovixHTTPClient.h"
#include "platform/Json.h"
#include "platform/Text.h"
#include "trovix/platform/Clock.h"

// The client's two calls of the link service.
namespace trovix {
namespace {

constexpr const char* jsonType = "application/json";

std::optional<std::string> utf8Of(const Data& bytes) {
  const std::string_view text = platform::textOf(bytes);
  return platform::isValidUtf8(text) ? std::optional<std::string>(text) : std::nullopt;
}

Error refusal(const Data& body) {
  Dictionary userInfo;
  userInfo.setIfPresent(Error::localizedDescriptionKey, utf8Of(body));
  return Error("", 0, std::move(userInfo));
}

void reportVeyra(const platform::URLResult& result, const TXSDKHTTPClientProtocol::VeyraCompletion& completionHandler) {
  if (result.error) return completionHandler(std::nullopt, result.error);
  const bool isAnswer = result.response && (!result.response->mimeType.empty() || !result.data.empty());
  if (!isAnswer) return completionHandler(std::nullopt, std::nullopt);
  // What is not JSON is no answer of the link service, whatever its status.
  const std::int64_t statusCode = result.response->mimeType == jsonType ? result.response->statusCode : 0;
  if (statusCode != 200) return completionHandler(std::nullopt, refusal(result.data));
  auto parsed = txsdk_json(result.data);
  if (!parsed) return completionHandler(std::nullopt, parsed.error());
  Dictionary* const answer = parsed->dictionary();
  completionHandler(answer != nullptr ? std::optional<Dictionary>(std::move(*answer)) : std::nullopt, std::nullopt);
}

void reportLink(const platform::URLResult& result, const TXSDKHTTPClientProtocol::LinkCompletion& completionHandler) {
  if (result.error) return completionHandler(std::nullopt, result.error);
  const bool isCreated = result.response && result.response->statusCode == 200;
  completionHandler(isCreated ? utf8Of(result.data) : std::nullopt, std::nullopt);
}

}  // namespace

platform::URLRequest TrovixHTTPClient::linkServiceRequest(const std::string& URL, const char* method,
                                                          const std::string& devKey) const {
  const LinkAuthorization authorization = linkAuthorization(devKey, platform_.clock.now());
  platform::URLRequest request;
  request.url = URL;
  request.method = method;
  request.headers.set("Content-Type", jsonType);
  request.headers.set("tx-timestamp", authorization.timestamp);
  request.headers.set("authorization", authorization.authorization);
  return request;
}

TrovixHTTPClient::Task TrovixHTTPClient::getVeyra(const std::string& URL, const std::string& devKey,
                                                  VeyraCompletion completionHandler) {
  return platform_.urlSessions.shared().startTask(
      linkServiceRequest(URL, "GET", devKey),
      [completionHandler = std::move(completionHandler)](const platform::URLResult& result) {
        if (completionHandler) reportVeyra(result, completionHandler);
      });
}

TrovixHTTPClient::Task TrovixHTTPClient::createVeyra(const std::optional<std::string>& URL, std::int64_t ttl,
                                                     const std::optional<std::string>& brandDomain,
                                                     const std::optional<std::string>& devKey,
                                                     const Dictionary& parameters, LinkCompletion completionHandler) {
  if (!URL || !devKey) {
    TX_LOG(error, "Invalid parameter not satisfying: {}", URL ? "devKey" : "url");
    return nullptr;
  }
  Dictionary body{{"ttl", fmt::format("{}", ttl)}, {"data", parameters}};
  // Judged where they stand, one level down.
  if (!platform::isValidJsonObject(body)) body.set("data", Dictionary());
  body.setIfPresent("brand_domain", brandDomain);
  TX_LOG(debug, "Requesting Veyra with: {}", body);

  platform::URLRequest request = linkServiceRequest(*URL, "POST", *devKey);
  if (const auto json = platform::writeJson(body)) request.body = Data(json->begin(), json->end());
  return platform_.urlSessions.shared().startTask(
      std::move(request), [completionHandler = std::move(completionHandler)](const platform::URLResult& result) {
        if (completionHandler) reportLink(result, completionHandler);
      });
}

}  // namespace trovix
