#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "common/Lifetime.h"
#include "core/DeepLinks.h"
#include "core/LinkRecord.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "platform/Mutex.h"
#include "trovix/platform/Platform.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class DeepLinkDelivery;
class EspRedirects;
class PushLinkPaths;
class SessionState;
class Settings;
class TXSDKBuffer;
class TXSDKPerformance;
class TXSDKStorageProtocol;

/// Turns a link that opened the application into attribution data: strips secrets, rewrites it by the host's matcher,
/// follows the redirects of e-mail service providers, expands short links, and delivers. Any thread; every operation
/// returns at once.
class DeepLinkAttribution final : public DeepLinks {
 public:
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    SessionState& session;
    TXSDKStorageProtocol& storage;
    TXSDKHTTPClientProtocol& http;
    TXSDKBuffer& buffer;
    TXSDKPerformance& performance;
    DeepLinkDelivery& delivery;
    EspRedirects& redirects;
    PushLinkPaths& pushPaths;
    Lifetime lifetime;
  };
  explicit DeepLinkAttribution(Collaborators collaborators) : with_(std::move(collaborators)) {}

  void setDeepLinkAndResolve(const std::optional<std::string>& URL, LinkHandler handler) override;
  void continueUserActivity(const Dictionary& userActivity) override;
  [[nodiscard]] std::optional<Dictionary> takeVeyraParams() override;
  void handleVeyraResponse(const std::optional<Value>& response) override;

  void handleOpenURL(const std::optional<std::string>& URL, const std::optional<std::string>& sourceApplication);
  void handleOpenUrl(const std::optional<std::string>& URL, const Dictionary& options);
  /// Resolves the activity, unless the next one is to be skipped; that is then used up. Always true.
  bool continueUserActivityUnlessSkipped(const Dictionary& userActivity);
  /// Attributes a link straight away, past the buffer.
  void performOnAppAttributionWithURL(const std::optional<std::string>& URL);
  /// Links that contain the text get the parameters added to their query.
  void appendParametersToDeepLinkingURLWithString(std::string containsString, Dictionary queryParameters);
  /// The last link, without its secrets.
  [[nodiscard]] std::optional<std::string> deeplink() const;

 private:
  using Handler = std::function<void(const std::shared_ptr<LinkRecord>&)>;
  void enqueue(const std::string& link, LinkHandler handler);
  void performOnAppAttribution(const std::string& deeplink, Handler handler);
  void failWithoutLink(const Handler& handler);
  [[nodiscard]] std::string matched(const std::string& link, LinkRecord& record) const;

  void resolveEsp(const std::string& link, std::shared_ptr<LinkRecord> record, Handler handler);
  void didResolveEsp(const std::string& link, double startTime, const Dictionary& information,
                     const std::optional<Error>& error, const std::shared_ptr<LinkRecord>& record,
                     const Handler& handler);

  /// What remains once the real link is known.
  void attribute(const std::string& link, const std::shared_ptr<LinkRecord>& record);
  void expandShortLink(const std::string& path, std::shared_ptr<LinkRecord> record);
  void didExpandShortLink(const std::string& URL, const std::optional<Value>& response, const Dictionary& information,
                          const std::optional<Error>& error, LinkRecord& record);
  /// Whether the deep link delegate took the parameters.
  bool offer(const Dictionary& parameters);

  Collaborators with_;
  mutable platform::Mutex mutex_;
  std::optional<std::string> deeplink_ TX_GUARDED_BY(mutex_);
  std::shared_ptr<LinkRecord> veyraParams_ TX_GUARDED_BY(mutex_);
  std::string containsString_ TX_GUARDED_BY(mutex_);
  Dictionary queryParameters_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
