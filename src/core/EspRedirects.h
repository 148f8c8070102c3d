#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/Lifetime.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "platform/Mutex.h"

namespace trovix {

class Settings;

/// The redirect policy of requests that resolve the links of e-mail service providers, and the hosts they were led
/// through, one list per task. Any thread.
class EspRedirects final : public RedirectPolicy {
 public:
  /// Marks a request whose redirects this policy decides.
  static constexpr const char* headerName = "tx-esp";

  /// A session may ask while the owner of the settings, behind `lifetime`, is being destroyed.
  EspRedirects(Settings& settings, Lifetime lifetime) : settings_(settings), lifetime_(std::move(lifetime)) {}

  /// A marked request follows only to a host that is listed exactly, and nowhere once the owner is gone; any other
  /// follows as usual.
  [[nodiscard]] std::optional<platform::URLRequest> willPerformHTTPRedirection(
      std::uint64_t taskIdentifier, const platform::URLRequest& current, const platform::URLResponse& response,
      platform::URLRequest newRequest) override;

  /// The hosts that the task was led through, which are then forgotten.
  [[nodiscard]] std::vector<std::string> takeCachedHTTPRedirections(std::uint64_t taskIdentifier);

 private:
  Settings& settings_;
  const Lifetime lifetime_;
  platform::Mutex mutex_;
  std::map<std::uint64_t, std::vector<std::string>> cachedHTTPRedirections_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
