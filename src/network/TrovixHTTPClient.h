#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "common/Lifetime.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/platform/Platform.h"

namespace trovix {

class TXSDKChecksum;
class TrovixProxyManager;

/// The client over the platform's URL sessions.
class TrovixHTTPClient final : public TXSDKHTTPClientProtocol, public std::enable_shared_from_this<TrovixHTTPClient> {
 public:
  /// The policy is held weakly: without one redirects are followed, once it is gone they are refused. The lifetime is
  /// that of whoever owns the checksum and remote debugging: answers to events that come after it are dropped. Without
  /// one they must outlive every request.
  TrovixHTTPClient(platform::Platform& platform, TXSDKChecksum& checksum, TrovixProxyManager& remoteDebugging,
                   std::weak_ptr<RedirectPolicy> redirectPolicy, std::optional<Lifetime> lifetime = std::nullopt);
  ~TrovixHTTPClient() override;

  Task requestWithURL(URLCallback URL, RequestCallback URLRequest, HTTPRequestOptions options,
                      Completion completionHandler) override;
  void sendEvent(std::shared_ptr<TXSDKEvent> event, EventCompletion completionHandler) override;
  void sendRequestWithConfiguration(const std::string& URL, const std::string& data) override;
  Task getVeyra(const std::string& URL, const std::string& devKey, VeyraCompletion completionHandler) override;
  Task createVeyra(const std::optional<std::string>& URL, std::int64_t ttl,
                   const std::optional<std::string>& brandDomain, const std::optional<std::string>& devKey,
                   const Dictionary& parameters, LinkCompletion completionHandler) override;

 private:
  struct GeneralRequest;
  Task startAttempt(const std::shared_ptr<const GeneralRequest>& request, std::int64_t retries);
  void refuseURL(const GeneralRequest& request);
  [[nodiscard]] bool hasSystemVersion9() const;
  [[nodiscard]] std::shared_ptr<platform::URLSession> bgSession();
  void backgroundCallWithRequest(platform::URLRequest request);
  [[nodiscard]] platform::URLRequest linkServiceRequest(const std::string& URL, const char* method,
                                                        const std::string& devKey) const;

  platform::Platform& platform_;
  TXSDKChecksum& checksum_;
  TrovixProxyManager& remoteDebugging_;
  const std::optional<Lifetime> lifetime_;
  /// Its redirects are decided by the policy.
  const std::shared_ptr<platform::URLSession> genericSession_;
  std::once_flag bgSessionOnce_;
  std::shared_ptr<platform::URLSession> bgSession_;
};

class TXSDKHTTPClientFactory {
 public:
  /// 0 is the client above; null for any other type.
  [[nodiscard]] static std::shared_ptr<TXSDKHTTPClientProtocol> HTTPClientWithType(
      std::int64_t type, platform::Platform& platform, TXSDKChecksum& checksum, TrovixProxyManager& remoteDebugging,
      std::weak_ptr<RedirectPolicy> redirectPolicy, std::optional<Lifetime> lifetime = std::nullopt);
};

}  // namespace trovix
