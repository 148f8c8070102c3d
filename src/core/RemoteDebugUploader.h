#pragma once

#include <string>

#include "network/TrovixProxyManager.h"

namespace trovix::platform {
class Bundle;
}

namespace trovix {

class Installation;
class Settings;
class TXSDKHTTPClientProtocol;

/// Uploads what remote debugging collected, and tells it who the SDK is. Any thread.
class RemoteDebugUploader final : public RemoteDebugHost {
 public:
  RemoteDebugUploader(Settings& settings, Installation& installation, const platform::Bundle& bundle,
                      TXSDKHTTPClientProtocol& http)
      : settings_(settings), installation_(installation), bundle_(bundle), http_(http) {}

  std::string devKey() const override;
  std::string trovixUID() const override;
  std::string appleAppID() const override;
  std::string appVersion() const override;
  /// Sends the bytes as they are.
  void remoteDebuggingCallWithData(const std::string& data) override;

 private:
  Settings& settings_;
  Installation& installation_;
  const platform::Bundle& bundle_;
  TXSDKHTTPClientProtocol& http_;
};

}  // namespace trovix
