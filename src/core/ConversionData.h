#pragma once

#include <optional>
#include <string>

#include "common/Lifetime.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "trovix/Error.h"
#include "trovix/Value.h"
#include "trovix/platform/Platform.h"

namespace trovix {

class Installation;
class Settings;
class TXSDKPerformance;
class TXSDKStorageProtocol;

enum class CacheVerdict { none, serve, expired };
/// What to do with a kept verdict: `receivedAt` 0 means that no age is known, and then it is served.
[[nodiscard]] CacheVerdict judgeConversionCache(bool cached, double receivedAt, double now) noexcept;

/// The server's verdict on this install. Fetched after a launch, kept for sixty days, handed to the delegate on the
/// main queue. Call from any thread.
class ConversionData {
 public:
  ConversionData(platform::Platform& platform, Settings& settings, Installation& installation,
                 TXSDKStorageProtocol& storage, TXSDKHTTPClientProtocol& http, TXSDKPerformance& performance,
                 Lifetime lifetime);

  /// Serves the kept verdict, or asks the server and keeps the answer. Reports only through the delegate; without one
  /// that wants successes it does nothing but log.
  void getConversionData();

 private:
  void fetch();
  [[nodiscard]] std::string url();
  // The HTTP client's queue.
  void didReceive(const std::optional<Value>& response, const Dictionary& information,
                  const std::optional<Error>& error, double startTime);
  void didSucceed(Dictionary data, const Dictionary& information, double startTime);
  void deliverSuccess(Dictionary data);
  void deliverFailure(const Error& error);

  platform::Platform& platform_;
  Settings& settings_;
  Installation& installation_;
  TXSDKStorageProtocol& storage_;
  TXSDKHTTPClientProtocol& http_;
  TXSDKPerformance& performance_;
  Lifetime lifetime_;
};

}  // namespace trovix
