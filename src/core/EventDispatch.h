#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/Lifetime.h"
#include "core/EventRequestMetadata.h"
#include "core/TrovixDictionary.h"
#include "network/TXSDKBuffer.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/Platform.h"

namespace trovix {

class ConversionData;
class ConversionRules;
class DeepLinks;
class EventPayload;
class PartnerData;
class SessionState;
class Settings;
class TXSDKEventCache;
class TXSDKPerformance;
class TXSDKStorageProtocol;
class TXSDKiAdClient;
class TrovixUtils;
struct AdvertisingIdentity;

/// Turns a launch or an in-app event into a queued, cached, signed request and handles its answer. Serial queue, except
/// where it says so.
class EventDispatch {
 public:
  using Completion = TrovixLib::Completion;
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    SessionState& session;
    TXSDKStorageProtocol& storage;
    TXSDKiAdClient& iAdClient;
    TrovixUtils& utils;
    EventPayload& payload;
    ConversionData& conversionData;
    TXSDKHTTPClientProtocol& http;
    TXSDKEventCache& cache;
    TXSDKBuffer& buffer;
    TXSDKPerformance& performance;
    DeepLinks& deepLinks;
    ConversionRules& rules;
    PartnerData& partners;
    Lifetime lifetime;
  };
  explicit EventDispatch(Collaborators collaborators);

  /// After the fixed delay of 0.4 seconds. Any thread.
  void logEvent(std::string name, std::optional<Dictionary> values, Completion completionHandler);
  void callServerWithEventName(const std::string& name, const std::optional<Dictionary>& eventValues,
                               std::uint64_t options, Completion completion);
  /// Refuses while stopped; else caches the event, unless its address is none, and runs it.
  void executeRequestWithUrlString(const std::string& urlString, std::uint64_t eventOptions,
                                   TrovixDictionary parameters, Completion completionHandler);
  /// Wraps the event in an operation and adds it to the buffer; the way of cached events too. The completion hears of
  /// every attempt, failed ones included.
  void executeRequestWithEvent(TXSDKEvent event, Completion completionHandler);

 private:
  /// A request on its way through the steps that leave the serial queue. Used by one of them at a time.
  struct Request {
    std::uint64_t options = 0;
    TrovixDictionary parameters;
    std::string url;
    Completion completion;
  };
  using RequestInProgress = std::shared_ptr<Request>;

  [[nodiscard]] bool checkConfiguration(const Completion& completion);
  [[nodiscard]] TrovixDictionary buildParameters(const std::string& name, const std::optional<Dictionary>& eventValues,
                                                 std::uint64_t options);
  void markLaunch(TrovixDictionary& parameters, std::uint64_t options);
  void addInstallReceipt(TrovixDictionary& parameters);
  void addIdentity(Request& request, const AdvertisingIdentity& identity);
  [[nodiscard]] std::string urlFor(std::uint64_t options) const;
  [[nodiscard]] Completion withConversionData(std::uint64_t options, Completion completion);

  // Main queue.
  void collectFacebookData(const RequestInProgress& request);
  void fetchFacebookLink(const RequestInProgress& request, Dictionary facebook);
  // Any thread.
  void submit(const RequestInProgress& request, Dictionary facebook);

  // The buffer's queue, then the HTTP client's.
  void run(const std::shared_ptr<TXSDKOperation>& operation, const Completion& completion);
  void didAnswer(const std::shared_ptr<TXSDKOperation>& operation, const Completion& completion,
                 const std::optional<Value>& response, const std::optional<Error>& error, std::int64_t statusCode);

  Collaborators with_;
  EventRequestMetadata metadata_;
};

}  // namespace trovix
