#pragma once

#include <memory>
#include <optional>
#include <string>

#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/Value.h"

namespace trovix::platform {
class Clock;
class URLSessions;
}  // namespace trovix::platform

namespace trovix {

/// What a link needs to know, as it stands at one moment.
struct LinkFacts {
  std::string host;
  std::string hostPrefix;
  std::string devKey;
  std::string appleAppID;
  std::string trovixUID;
  bool isStopped = false;
  std::optional<std::string> appInviteVeyraID;
  std::optional<std::string> customerUserID;
  std::optional<std::string> advertisingIdentifier;
  std::optional<std::string> identifierForVendor;
  /// From the server's link configuration.
  std::optional<std::string> linkDomain;
  std::optional<std::string> linkScheme;
};

/// What link generation needs from the SDK. Any thread.
class LinkHost {
 public:
  virtual ~LinkHost() = default;
  [[nodiscard]] virtual LinkFacts linkFacts() = 0;
  virtual void logEvent(std::string name, Dictionary values) = 0;
  [[nodiscard]] virtual TXSDKHTTPClientProtocol& httpClient() = 0;
  [[nodiscard]] virtual platform::URLSessions& urlSessions() = 0;
};

/// The host that the class operations of link generation reach: the one installed last. Held weakly.
void installLinkHost(const std::shared_ptr<LinkHost>& host);
/// Null before an SDK is made, and after it is gone.
[[nodiscard]] std::shared_ptr<LinkHost> linkHost();

}  // namespace trovix
