#include "core/DeferredDeepLink.h"

#include "common/Dates.h"
#include "common/Log.h"
#include "common/Version.h"
#include "core/DeepLinkDelivery.h"
#include "core/Installation.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "device/TXSDKiAdClient.h"
#include "network/Endpoints.h"
#include "network/Signing.h"
#include "network/TXSDKBuffer.h"
#include "network/TXSDKPerformance.h"
#include "platform/Crypto.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {
namespace {

Dictionary unhashed(const std::string& value) { return {{"value", value}, {"type", "unhashed"}}; }

std::string language(const platform::Locale& locale) {
  const std::string code = locale.languageCode().value_or("");
  const auto country = locale.countryCode();
  return country ? code + "-" + *country : code;
}

}  // namespace

void DeferredDeepLink::setDeepLinkDelegate(std::weak_ptr<TrovixDeepLinkDelegate> delegate) {
  with_.serial.post(with_.lifetime.guard([this, delegate = std::move(delegate)] {
    const auto held = delegate.lock();
    TX_LOG(debug, "[DDL] Delegate: {}\n", held ? held->className : std::string("(null)"));
    with_.delivery.setDeepLinkDelegate(delegate);
    if (didAsk_) return;
    didAsk_ = true;
    resolveDeeplink(with_.settings.deepLinkTimeout);
  }));
}

void DeferredDeepLink::resolveDeeplink(std::uint64_t milliseconds) {
  if (!with_.storage.shouldResolveDDL()) {
    TX_LOG(debug, "[DDL] DDL already has been resolved\n");
    return;
  }
  const auto delegate = with_.delivery.deepLinkDelegate();
  if (!delegate || !delegate->didResolveDeepLink) return;
  TX_LOG(debug, "[DDL] Start DDL\n");
  const Dictionary body = makeBody();
  constexpr double millisecondsPerSecond = 1000;
  const double timeout = static_cast<double>(milliseconds) / millisecondsPerSecond;
  TX_LOG(debug, "[DDL] Params: {}\nDDL Timeout: {:.5f}sec\n", body, timeout);
  std::string signature = deferredDeepLinkSignature(with_.settings.trovixDevKey(), *body.string("timestamp"));
  auto event = std::make_shared<TXSDKEvent>(body, "", "", eventOption::deferredDeepLink);
  with_.buffer.addElement(
      TXSDKOperation::Id("DDL-" + platform::randomUUIDString(), std::move(event),
                         with_.lifetime.guard([this, body, signature = std::move(signature),
                                               timeout](const std::shared_ptr<TXSDKOperation>& operation) {
                           send(body, signature, timeout, operation);
                         }),
                         with_.platform.clock));
}

Dictionary DeferredDeepLink::makeBody() {
  const Settings& settings = with_.settings;
  const platform::Device& device = with_.platform.device;
  const AdvertisingIdentity identity = with_.iAdClient.executeIDFARequest();
  Dictionary body{{"timestamp", TXSDKDateStringSig(with_.platform.clock.now())},
                  {"is_first", true},
                  {"lang", language(with_.platform.locale)}};
  body.setIfPresent("os", device.systemVersion());
  body.setIfPresent("type", device.model());
  if (!with_.iAdClient.disableAdvertisingIdentifier()) body.set("idfa", unhashed(identity.identifier));
  if (!settings.disableIDFVCollection) body.set("idfv", unhashed(device.identifierForVendor().value_or("")));
  if (const auto filter = settings.sharingFilter()) body.set("sharing_filter", Array(filter->begin(), filter->end()));
  body.set("att_status", identity.trackingStatus);
  body.set("request_count", 1);
  body.set("request_id", with_.installation.getTrovixUID());
  return body;
}

void DeferredDeepLink::send(const Dictionary& body, const std::string& signature, double timeout,
                            const std::shared_ptr<TXSDKOperation>& operation) {
  with_.performance.stop(TXSDKPerformance::TXSDKFromInitToDDLNetwork);
  with_.performance.start(TXSDKPerformance::deferredDeepLinkNetwork);
  std::string URL = TXSDKURLFormat(Endpoint::ddl, {with_.settings.hostPrefix(), with_.settings.host(),
                                                   with_.settings.appleAppID(), serverVersion, signature});
  with_.http.requestWithURL(
      [URL = std::move(URL)] {
        TX_LOG(debug, "[DDL] URL: {}\n", URL);
        return std::optional(URL);
      },
      [timeout](platform::URLRequest request) {
        request.timeoutInterval = timeout;
        return request;
      },
      {.method = "POST", .dictionary = body, .isReturnJSON = true},
      with_.lifetime.guard([this, operation](const std::optional<Value>& response, const Dictionary&,
                                             const std::optional<Error>& error) {
        didReceive(response, error);
        operation->finishWithStatusCode(operationStatus::delivered);
      }));
}

void DeferredDeepLink::didReceive(const std::optional<Value>& response, const std::optional<Error>& error) {
  const Dictionary* answer = response ? response->dictionary() : nullptr;
  const TrovixDeepLinkResult result(answer != nullptr ? TrovixDeepLink::withParameters(*answer) : nullptr, error);
  with_.performance.stop(TXSDKPerformance::deferredDeepLinkNetwork);
  with_.performance.setInfo(Value(static_cast<std::uint64_t>(result.status())),
                            TXSDKPerformance::deferredDeepLinkStatus);
  with_.performance.setInfo(Value(with_.settings.deepLinkTimeout.load()), TXSDKPerformance::deferredDeepLinkTimeout);
  if (with_.session.skipDDLResult) {
    TX_LOG(debug, "[DDL] Skipping `DDL` result\n");
    return;
  }
  with_.delivery.willResolveDeepLink(result);
}

}  // namespace trovix
