#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "common/Lifetime.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "network/TXSDKOperation.h"
#include "trovix/TrovixLibDelegate.h"
#include "trovix/platform/Platform.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class DeepLinkDelivery;
class Installation;
class SessionState;
class Settings;
class TXSDKBuffer;
class TXSDKPerformance;
class TXSDKStorageProtocol;
class TXSDKiAdClient;

/// Asks the server, once per process and only before the first launch is recorded, for the link that was clicked before
/// the application was installed.
class DeferredDeepLink {
 public:
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    SessionState& session;
    Installation& installation;
    TXSDKStorageProtocol& storage;
    TXSDKiAdClient& iAdClient;
    TXSDKHTTPClientProtocol& http;
    TXSDKBuffer& buffer;
    TXSDKPerformance& performance;
    DeepLinkDelivery& delivery;
    Lifetime lifetime;
  };
  explicit DeferredDeepLink(Collaborators collaborators) : with_(std::move(collaborators)) {}

  /// Any thread; returns at once. The first call asks the server, and only the first.
  void setDeepLinkDelegate(std::weak_ptr<TrovixDeepLinkDelegate> delegate);

 private:
  void resolveDeeplink(std::uint64_t milliseconds);
  [[nodiscard]] Dictionary makeBody();
  void send(const Dictionary& body, const std::string& signature, double timeout,
            const std::shared_ptr<TXSDKOperation>& operation);
  void didReceive(const std::optional<Value>& response, const std::optional<Error>& error);

  Collaborators with_;
  bool didAsk_ = false;  // serial queue only
};

}  // namespace trovix
