#pragma once

#include "common/Lifetime.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/Value.h"

namespace trovix {

class EventPayload;
class Settings;
class TXSDKStorageProtocol;

/// Reports impression revenue, each report with a running number. Nothing is retried, nobody is told.
class AdRevenue {
 public:
  AdRevenue(Settings& settings, EventPayload& payload, TXSDKStorageProtocol& storage, TXSDKHTTPClientProtocol& http,
            Lifetime lifetime);

  /// Any thread.
  void sendAdRevenueWithParameters(Dictionary adNetwork);

 private:
  void send(const std::string& URL, Dictionary parameters);

  Settings& settings_;
  EventPayload& payload_;
  TXSDKStorageProtocol& storage_;
  TXSDKHTTPClientProtocol& http_;
  Lifetime lifetime_;
};

}  // namespace trovix
