#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/Lifetime.h"
#include "core/ConversionRules.h"
#include "network/Endpoints.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "network/TXSDKOperation.h"
#include "platform/Mutex.h"
#include "trovix/platform/Platform.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class FrameworkLoader;
class Installation;
class Settings;
class TXSDKBuffer;
class TXSDKSKAdNetwork;
class TXSDKStorageProtocol;

/// Fetches the conversion rule once everything that it needs is known, and the server's own values in server-to-server
/// mode. Owns the rule keeper, and runs it on the serial queue, answers of the server included; any thread may ask the
/// two questions and for the server's value.
class ConversionRuleFetcher final : public ConversionRules {
 public:
  struct Collaborators {
    platform::Platform& platform;
    platform::SerialQueue& serial;
    Settings& settings;
    Installation& installation;
    TXSDKStorageProtocol& storage;
    FrameworkLoader& loader;
    TXSDKHTTPClientProtocol& http;
    TXSDKBuffer& buffer;
    Lifetime lifetime;
  };
  explicit ConversionRuleFetcher(Collaborators collaborators);
  ~ConversionRuleFetcher() override;

  void willResolveSKRules(std::uint64_t bit) override;
  std::int32_t willUpdateConversionValueWithName(const std::string& name,
                                                 const std::optional<Dictionary>& values) override;
  void willRequestConversionValueAndUpdate() override;
  [[nodiscard]] bool isS2SModeEnabled() const override;
  [[nodiscard]] bool isSKWindowExpired() const override;

 private:
  struct Request {
    std::string operationPrefix = {};
    std::uint64_t options = 0;
    Endpoint endpoint = Endpoint::skRules;
    /// What follows host prefix and host in the address.
    std::vector<std::optional<std::string>> arguments = {};
    std::string timestamp = {};
    std::string authorization = {};
    /// Serial queue.
    std::function<void(const Value&)> handleResponse = {};
  };
  /// The keeper, made on first use; null while the host has switched SKAdNetwork off.
  [[nodiscard]] std::shared_ptr<TXSDKSKAdNetwork> SKAdNetwork() const;
  void requestRules();
  void add(Request request);
  void send(const Request& request, const std::shared_ptr<TXSDKOperation>& operation);
  /// Serial queue.
  void receive(const Request& request, const std::optional<Value>& response, const std::optional<Error>& error);

  Collaborators with_;
  // Serial queue only.
  std::uint64_t SKRuleGateway_ = 0;
  bool didRequestRules_ = false;

  mutable platform::Mutex mutex_;
  mutable std::shared_ptr<TXSDKSKAdNetwork> keeper_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
