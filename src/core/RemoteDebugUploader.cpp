#include "core/RemoteDebugUploader.h"

#include "core/Installation.h"
#include "core/Settings.h"
#include "network/Endpoints.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/platform/DeviceFacts.h"

namespace trovix {

std::string RemoteDebugUploader::devKey() const { return settings_.trovixDevKey(); }

std::string RemoteDebugUploader::trovixUID() const { return installation_.getTrovixUID(); }

std::string RemoteDebugUploader::appleAppID() const { return settings_.appleAppID(); }

std::string RemoteDebugUploader::appVersion() const {
  const auto version = bundle_.infoValue("CFBundleVersion");
  return version ? description(*version) : "";
}

void RemoteDebugUploader::remoteDebuggingCallWithData(const std::string& data) {
  if (settings_.isStopped()) return;
  http_.sendRequestWithConfiguration(
      TXSDKURLFormat(Endpoint::remoteDebug, {settings_.hostPrefix(), settings_.host(), settings_.appleAppID(),
                                             settings_.anonymizeUser ? "true" : "false"}),
      data);
}

}  // namespace trovix
