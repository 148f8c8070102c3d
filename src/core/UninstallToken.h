#pragma once

#include <string>

#include "common/Lifetime.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/Value.h"
#include "trovix/platform/Platform.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class Installation;
class Settings;
class TXSDKStorageProtocol;
class TXSDKiAdClient;
class TXSystemInfo;
class TrovixUtils;
struct AdvertisingIdentity;

/// Registers the push token, so that the server can tell an uninstall by pushes that fail.
class UninstallToken {
 public:
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    Installation& installation;
    TXSDKStorageProtocol& storage;
    TXSDKiAdClient& iAdClient;
    TrovixUtils& utils;
    TXSystemInfo& systemInfo;
    TXSDKHTTPClientProtocol& http;
    Lifetime lifetime;
  };
  explicit UninstallToken(Collaborators collaborators) : with_(std::move(collaborators)) {}

  /// Registers 3.5 seconds from now, unless the token is the last one. Nothing for an App Clip or an empty token. Any
  /// thread.
  void registerUninstall(const Data& deviceToken);
  /// Registers without the checks. Serial queue.
  void backgroundRegisterUninstall(const std::string& token);

 private:
  void registerIfChanged(const std::string& token);
  void send(const std::string& token, const AdvertisingIdentity& identity);
  [[nodiscard]] Dictionary makeBody(const std::string& token, const AdvertisingIdentity& identity);

  Collaborators with_;
};

}  // namespace trovix
