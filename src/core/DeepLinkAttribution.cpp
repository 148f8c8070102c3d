#include "core/DeepLinkAttribution.h"

#include "common/Encoding.h"
#include "common/Log.h"
#include "common/TXSDKError.h"
#include "common/Version.h"
#include "core/DeepLinkDelivery.h"
#include "core/EspRedirects.h"
#include "core/LinkText.h"
#include "core/Settings.h"
#include "device/TrovixUtils.h"
#include "network/Endpoints.h"
#include "network/Signing.h"
#include "platform/Url.h"
#include "trovix/platform/Clock.h"

namespace trovix {
namespace {

using platform::Url;

constexpr double espTimeout = 2.0;
// Providers answer a phone's browser with the redirects that lead to the application.
constexpr const char* espUserAgent =
    "Mozilla/5.0 (iPhone; CPU iPhone OS 12_1_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) "
    "Version/12.0 Mobile/15E148 Safari/604.1";

Array toArray(const std::vector<std::string>& texts) { return {texts.begin(), texts.end()}; }

std::string listed(const std::vector<std::string>& texts) { return description(Value(toArray(texts))); }

}  // namespace

void DeepLinkAttribution::performOnAppAttribution(const std::string& deeplink, Handler handler) {
  if (!Url::parse(deeplink)) {
    failWithoutLink(handler);
    return;
  }
  auto record = std::make_shared<LinkRecord>();
  const std::string link = matched(deeplink, *record);
  TX_LOG(debug, "UniversalLink/Deeplink found:\n{}", deeplink);
  record->set("tx_deeplink", link);

  if (const auto domains = with_.settings.resolveDeepLinkURLs(); domains && !domains->empty()) {
    TX_LOG(debug, "Validate ESP URLs: {}", listed(*domains));
    if (const std::string* domain = matchingDomain(link, *domains)) {
      TX_LOG(debug, "Deeplink matches ESP domain: {}", *domain);
      resolveEsp(link, std::move(record), std::move(handler));
      return;
    }
  }
  attribute(link, record);
  if (handler) handler(record);
}

void DeepLinkAttribution::failWithoutLink(const Handler& handler) {
  if (handler) handler(std::make_shared<LinkRecord>());
  const Error error =
      TXSDKError::errorWithDomain(TXSDKDeeplinkErrorDomain, "UniversalLink/Deeplink is `nil` or not of NSURL class");
  if (with_.delivery.willResolveDeepLink(TrovixDeepLinkResult(nullptr, error))) return;
  with_.delivery.onAppOpenAttributionFailure(error);
}

std::string DeepLinkAttribution::matched(const std::string& link, LinkRecord& record) const {
  std::string marker;
  Dictionary parameters;
  {
    const platform::MutexLock lock(mutex_);
    if (containsString_.empty() || queryParameters_.empty()) return link;
    if (link.find(containsString_) == std::string::npos) return link;
    marker = containsString_;
    parameters = queryParameters_;
  }
  const Url incoming = *Url::parse(link);
  const Url rewritten = TrovixUtils::urlValidatedWithString(marker, incoming, parameters);
  std::string appended = rewritten.query().value_or("");
  if (const std::string query = incoming.query().value_or(""); appended.starts_with(query)) {
    appended.erase(0, query.size());
  }
  record.set("appended_query_params", appended);
  TX_LOG(debug, "[MATCHER] `tx_deeplink` changed:\n{}", rewritten.absoluteString());
  return rewritten.absoluteString();
}

void DeepLinkAttribution::resolveEsp(const std::string& link, std::shared_ptr<LinkRecord> record, Handler handler) {
  TX_LOG(debug, "ESP deeplink resolving is started: {}", link);
  std::optional<Dictionary> headers;
  if (const auto delegate = with_.settings.delegate(); delegate && delegate->allHTTPHeaderFieldsForResolveDeepLinkURL) {
    headers = delegate->allHTTPHeaderFieldsForResolveDeepLinkURL(link);
  }
  const double startTime = with_.platform.clock.now();
  with_.http.requestWithURL(
      [link] { return std::optional(link); },
      [headers = std::move(headers)](platform::URLRequest request) {
        request.timeoutInterval = espTimeout;
        if (headers) {
          for (const auto& [name, value] : *headers) request.headers.set(name, description(value));
        } else {
          request.headers.set("User-Agent", espUserAgent);
        }
        // Set last, so that no header of the application's takes the redirect policy away.
        request.headers.set(EspRedirects::headerName, sdkVersion);
        return request;
      },
      {.isSharedSession = false},
      with_.lifetime.guard(
          [this, link, startTime, record = std::move(record), handler = std::move(handler)](
              const std::optional<Value>&, const Dictionary& information, const std::optional<Error>& error) {
            didResolveEsp(link, startTime, information, error, record, handler);
          }));
}

void DeepLinkAttribution::didResolveEsp(const std::string& link, double startTime, const Dictionary& information,
                                        const std::optional<Error>& error, const std::shared_ptr<LinkRecord>& record,
                                        const Handler& handler) {
  TX_LOG(debug, "ESP deeplink resolving has finished");
  constexpr double millisecondsPerSecond = 1000;
  const std::int64_t latency = saturatingInteger((with_.platform.clock.now() - startTime) * millisecondsPerSecond);
  std::optional<std::string> target;
  if (const std::string* location = information.string(".Location")) target = TXSDKPercentEscapes(*location);
  const std::string resolved = target && Url::parse(*target) ? *target : link;
  if (target != resolved) {
    TX_LOG(debug, "Invalid redirect URL:                        \n Original: {}                        \n Resolved: {}",
           description(target), resolved);
  }
  const Value* status = information.find("statusCode");
  const Value* task = information.find("taskIdentifier");
  Dictionary esp{{"latency", std::to_string(latency)}};
  if (error) {
    const Error* underlying = error->underlyingError();
    esp.set("error", underlying != nullptr ? underlying->description() : error->description());
  }
  esp.set("res", resolved);
  esp.set("status", status != nullptr ? std::to_string(status->integerValue()) : std::string("-1"));
  const auto redirects = with_.redirects.takeCachedHTTPRedirections(
      task != nullptr ? static_cast<std::uint64_t>(task->integerValue()) : 0);
  if (!redirects.empty()) esp.set("redirects", toArray(redirects));
  record->set("tx_deeplink_r", std::move(esp));

  attribute(resolved, record);
  if (handler) handler(record);
}

void DeepLinkAttribution::attribute(const std::string& link, const std::shared_ptr<LinkRecord>& record) {
  const Url url = *Url::parse(link);
  if (!with_.delivery.deepLinkDelegate()) record->set("link", url.absoluteString());
  bool isBranded = false;
  if (const auto domains = with_.settings.veyraCustomDomains(); domains && !domains->empty()) {
    TX_LOG(debug, "Validate custom domain URLs: {}", listed(*domains));
    isBranded = matchingDomain(link, *domains) != nullptr;
    if (isBranded) record->set("isBrandedDomain", true);
  }
  record->merge(TrovixUtils::queryParametersFromURL(url));

  std::string message;
  if (const auto path = TrovixUtils::getVeyraPathWithURL(link, isBranded, message)) {
    expandShortLink(*path, record);
    return;
  }
  TX_LOG(debug, "{}", message);
  if (offer(record->parameters())) return;
  record->set("path", url.path());
  record->set("scheme", url.scheme());
  if (url.host()) record->set("host", *url.host());
  with_.delivery.onAppOpenAttribution(record->parameters());
}

bool DeepLinkAttribution::offer(const Dictionary& parameters) {
  return with_.delivery.deepLinkDelegate() &&
         with_.delivery.willResolveDeepLink(TrovixDeepLinkResult(TrovixDeepLink::withVeyra(parameters), std::nullopt));
}

void DeepLinkAttribution::expandShortLink(const std::string& path, std::shared_ptr<LinkRecord> record) {
  const std::string URL =
      TXSDKURLFormat(Endpoint::veyraGet, {with_.settings.hostPrefix(), with_.settings.host(), path});
  TX_LOG(debug, "Shortlink found. Executing: {}", URL);
  with_.http.requestWithURL(
      [URL] { return std::optional(URL); },
      [authorization =
           linkAuthorization(with_.settings.trovixDevKey(), with_.platform.clock.now())](platform::URLRequest request) {
        request.headers.set("Content-Type", "application/json");
        request.headers.set("tx-timestamp", authorization.timestamp);
        request.headers.set("authorization", authorization.authorization);
        return request;
      },
      {.isReturnJSON = true},
      with_.lifetime.guard([this, URL, record = std::move(record)](const std::optional<Value>& response,
                                                                   const Dictionary& information,
                                                                   const std::optional<Error>& error) {
        didExpandShortLink(URL, response, information, error, *record);
      }));
}

void DeepLinkAttribution::didExpandShortLink(const std::string& URL, const std::optional<Value>& response,
                                             const Dictionary& information, const std::optional<Error>& error,
                                             LinkRecord& record) {
  TX_LOG(debug,
         "                       \n[Shortlink] Veyra:{}                       \n[Shortlink] Response "
         "Info:{}                       \n[Shortlink] Error: {}",
         description(response), information, description(error));
  if (const Dictionary* fields = response ? response->dictionary() : nullptr) {
    record.merge(*fields);
    const Dictionary parameters = record.parameters();
    if (!offer(parameters)) with_.delivery.onAppOpenAttribution(parameters);
    return;
  }
  Dictionary userInfo = error ? error->userInfo() : Dictionary();
  userInfo.set(Error::failingURLStringKey, URL);
  std::optional<Error> underlying;
  if (error && error->underlyingError() != nullptr) underlying = *error->underlyingError();
  const Error failure = TXSDKError::errorWithDomain(TXSDKDeeplinkErrorDomain, 0, userInfo, std::nullopt, underlying);
  if (with_.delivery.deepLinkDelegate() && with_.delivery.willResolveDeepLink(TrovixDeepLinkResult(nullptr, failure))) {
    return;
  }
  with_.delivery.onAppOpenAttributionFailure(failure);
}

}  // namespace trovix
