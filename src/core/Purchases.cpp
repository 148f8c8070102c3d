#include "core/Purchases.h"

#include "common/Encoding.h"
#include "common/EventOptions.h"
#include "common/Log.h"
#include "common/TXSDKError.h"
#include "common/Version.h"
#include "core/ConversionRules.h"
#include "core/EventDispatch.h"
#include "core/EventPayload.h"
#include "core/Installation.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "device/TXSDKiAdClient.h"
#include "device/TrovixUtils.h"
#include "network/Endpoints.h"
#include "platform/Json.h"

namespace trovix {
namespace {

constexpr const char* purchaseEvent = "tx_purchase";

const char* trueOrFalse(bool flag) { return flag ? "true" : "false"; }

Error purchaseError(const char* message) {
  return TXSDKError::errorWithDomain(TXSDKPurchaseValidationErrorDomain, message);
}

void addAdditionalParameters(const Purchase& purchase, TrovixDictionary& parameters) {
  if (!purchase.additionalParameters) return;
  // Without a JSON form they would cost the whole body, in which they stand one level down.
  if (platform::isValidJsonObject(*purchase.additionalParameters, platform::maximumJsonDepth - 1)) {
    parameters.setParameter(Value(*purchase.additionalParameters), "extra_prms");
  } else {
    TX_LOG(error, "Additional parameters of a purchase have no JSON form");
  }
}

}  // namespace

void Purchases::validateAndLogInAppPurchase(Purchase purchase, Success success, Failure failure) {
  with_.serial.post(with_.lifetime.guard([this, purchase = std::move(purchase), success = std::move(success),
                                          failure = std::move(failure)] { validate(purchase, success, failure); }));
}

void Purchases::validate(const Purchase& purchase, const Success& success, const Failure& failure) {
  if (with_.settings.isStopped()) {
    fail(failure, purchaseError("`isStopped` enabled. Event hasn't been sent"), std::nullopt);
    return;
  }
  if (!purchase.productIdentifier || !purchase.transactionId) {
    fail(failure, purchaseError("validateInAppPurchase cannot contain `productIdentifier` or `transactionId` as nil"),
         std::nullopt);
    return;
  }
  const Dictionary receipt = with_.utils.getStoreReceipt();
  const Dictionary* receiptData = receipt.dictionary("data");
  if (receiptData == nullptr) {
    fail(failure, purchaseError("validateInAppPurchase couldn't get store receipt. Event has'n been sent"),
         std::nullopt);
    return;
  }
  with_.iAdClient.requestIDWithCompletionHandler(
      with_.lifetime.guard([this, parameters = eventParameters(purchase, receipt)](
                               const AdvertisingIdentity& identity) { sendEvent(parameters, identity); }));
  requestValidation(purchase, *receiptData, success, failure);
}

TrovixDictionary Purchases::eventParameters(const Purchase& purchase, const Dictionary& receipt) {
  TrovixDictionary parameters = with_.payload.getEventParameters(false);
  parameters.setParameter(purchaseEvent, "event");
  parameters.setParameter(purchaseEvent, "eventName");
  parameters.setParameter(trueOrFalse(with_.settings.useReceiptValidationSandbox()), "is_sandbox");
  parameters.setParameter(purchase.price, "price");
  parameters.setParameter(purchase.currency, "currency");
  parameters.setParameter(purchase.transactionId, "apple_tran_id");
  parameters.setParameter(purchase.productIdentifier, "product_identifier");
  parameters.setParameter(Value(receipt), "receipt_data");
  addAdditionalParameters(purchase, parameters);
  // The rule reads the price as the text that the host gave.
  Dictionary values;
  values.setIfPresent("tx_price", purchase.price);
  const std::int32_t conversionValue = with_.rules.willUpdateConversionValueWithName(purchaseEvent, values);
  if (conversionValue > 0) parameters.setParameter(Value(conversionValue), "sk_upcv");
  return parameters;
}

void Purchases::sendEvent(TrovixDictionary parameters, const AdvertisingIdentity& identity) {
  if (identity.reason) {
    TX_LOG(debug, "{}", *identity.reason);
    parameters.setParameter(identity.reason, "load_framework_result");
  }
  parameters.setParameter(Value(identity.identifier), "advertiserId");
  parameters.setParameter(Value(identity.isTrackingEnabled), "advertiserIdEnabled");
  if (identity.trackingStatus != -1) parameters.setParameter(Value(identity.trackingStatus), "att_status");
  const std::string URL = TXSDKURLFormat(
      Endpoint::receiptValidationInApp,
      {with_.settings.hostPrefix(), with_.settings.host(), serverVersion, with_.settings.appleAppID(), sdkVersion});
  with_.dispatch.executeRequestWithUrlString(URL, eventOption::purchase | eventOption::TXEventOptionInAppEvent,
                                             std::move(parameters), {});
}

std::string Purchases::validationURL(const std::string& transactionId) const {
  const Settings& settings = with_.settings;
  const bool isCompromised =
      with_.utils.isJailbrokenWithSkipAdvancedJailbreakValidation(settings.skipAdvancedJailbreakValidation);
  std::string URL =
      TXSDKURLFormat(Endpoint::receiptValidation,
                     {settings.hostPrefix(), settings.host(), settings.appleAppID(), with_.installation.getTrovixUID(),
                      settings.trovixDevKey(), trueOrFalse(settings.useReceiptValidationSandbox()), transactionId,
                      trueOrFalse(isCompromised)});
  if (const auto identifier = with_.session.advertisingIdentifier(); txsdk_exists(identifier)) {
    URL += "&advertisingId=" + *identifier;
  }
  return URL;
}

void Purchases::requestValidation(const Purchase& purchase, const Dictionary& receiptData, const Success& success,
                                  const Failure& failure) {
  const std::string URL = validationURL(*purchase.transactionId);
  if (logging::isWanted(LogLevel::debug)) {
    TrovixUtils::logRequestContent(eventOption::purchase, URL, txsdk_stringify(receiptData));
  }
  with_.http.requestWithURL(
      [URL] { return std::optional(URL); }, {}, {.method = "POST", .dictionary = receiptData, .isReturnJSON = true},
      with_.lifetime.guard([this, success, failure](const std::optional<Value>& response, const Dictionary& information,
                                                    const std::optional<Error>& error) {
        TX_LOG(debug, "\n[Validate] Dictionary:{}\n[Validate] Response Info:{}\n[Validate] Error: {}",
               description(response), information, description(error));
        const Dictionary* answer = response ? response->dictionary() : nullptr;
        if (success && answer != nullptr && answer->contains("transaction_id")) {
          with_.platform.queues.mainQueue().post([success, answer = *answer] { success(answer); });
        } else {
          fail(failure, error, response);
        }
      }));
}

void Purchases::fail(const Failure& failure, std::optional<Error> error, std::optional<Value> response) {
  if (!failure) return;
  with_.platform.queues.mainQueue().post(
      [failure, error = std::move(error), response = std::move(response)] { failure(error, response); });
}

}  // namespace trovix
