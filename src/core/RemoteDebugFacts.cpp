#include "core/RemoteDebugFacts.h"

#include "core/Installation.h"
#include "core/Settings.h"
#include "network/Endpoints.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {

std::string RemoteDebugFacts::devKey() const { return settings_.trovixDevKey(); }

std::string RemoteDebugFacts::trovixUID() const { return installation_.getTrovixUID(); }

std::string RemoteDebugFacts::appleAppID() const { return settings_.appleAppID(); }

std::string RemoteDebugFacts::appVersion() const {
  const auto version = bundle_.infoValue("CFBundleVersion");
  return version ? description(*version) : "";
}

void RemoteDebugFacts::remoteDebuggingCallWithData(const std::string& data) {
  if (settings_.isStopped()) return;
  http_.sendRequestWithConfiguration(
      TXSDKURLFormat(Endpoint::remoteDebug, {settings_.hostPrefix(), settings_.host(), settings_.appleAppID(),
                                             settings_.anonymizeUser ? "true" : "false"}),
      data);
}

}  // namespace trovix
