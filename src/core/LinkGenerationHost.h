#pragma once

#include "links/LinkHost.h"
#include "trovix/platform/Platform.h"

namespace trovix {

class EventDispatch;
class Installation;
class SessionState;
class Settings;
class TXSDKStorageProtocol;

/// Gives link generation what it needs of the SDK. Any thread.
class LinkGenerationHost final : public LinkHost {
 public:
  LinkGenerationHost(platform::Platform& platform, Settings& settings, SessionState& session,
                     Installation& installation, TXSDKStorageProtocol& storage, TXSDKHTTPClientProtocol& http,
                     EventDispatch& dispatch);

  [[nodiscard]] LinkFacts linkFacts() override;
  void logEvent(std::string name, Dictionary values) override;
  [[nodiscard]] TXSDKHTTPClientProtocol& httpClient() override { return http_; }
  [[nodiscard]] platform::URLSessions& urlSessions() override { return platform_.urlSessions; }

 private:
  platform::Platform& platform_;
  Settings& settings_;
  SessionState& session_;
  Installation& installation_;
  TXSDKStorageProtocol& storage_;
  TXSDKHTTPClientProtocol& http_;
  EventDispatch& dispatch_;
};

}  // namespace trovix
