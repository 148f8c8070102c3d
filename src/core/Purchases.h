#pragma once

#include <optional>
#include <string>

#include "common/Lifetime.h"
#include "core/TrovixDictionary.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/Platform.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class ConversionRules;
class EventDispatch;
class EventPayload;
class Installation;
class SessionState;
class Settings;
class TXSDKiAdClient;
class TrovixUtils;
struct AdvertisingIdentity;

/// A completed store purchase, as the host reports it.
struct Purchase {
  std::optional<std::string> productIdentifier;
  std::optional<std::string> price;
  std::optional<std::string> currency;
  std::optional<std::string> transactionId;
  std::optional<Dictionary> additionalParameters;
};

/// Reports purchases and has their receipts validated.
class Purchases {
 public:
  using Success = TrovixLib::PurchaseSuccess;
  using Failure = TrovixLib::PurchaseFailure;
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    SessionState& session;
    Installation& installation;
    TrovixUtils& utils;
    TXSDKiAdClient& iAdClient;
    EventPayload& payload;
    EventDispatch& dispatch;
    ConversionRules& rules;
    TXSDKHTTPClientProtocol& http;
    Lifetime lifetime;
  };
  explicit Purchases(Collaborators collaborators) : with_(std::move(collaborators)) {}

  /// Any thread. One of the callbacks hears of it on the main queue; either may be empty.
  void validateAndLogInAppPurchase(Purchase purchase, Success success, Failure failure);

 private:
  void validate(const Purchase& purchase, const Success& success, const Failure& failure);
  [[nodiscard]] TrovixDictionary eventParameters(const Purchase& purchase, const Dictionary& receipt);
  void sendEvent(TrovixDictionary parameters, const AdvertisingIdentity& identity);
  void requestValidation(const Purchase& purchase, const Dictionary& receiptData, const Success& success,
                         const Failure& failure);
  [[nodiscard]] std::string validationURL(const std::string& transactionId) const;
  /// Calls the failure callback on the main queue, when there is one.
  void fail(const Failure& failure, std::optional<Error> error, std::optional<Value> response);

  Collaborators with_;
};

}  // namespace trovix
