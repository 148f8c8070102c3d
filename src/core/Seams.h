#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trovix/Error.h"
#include "trovix/Value.h"

// What the launch and event road asks of the features beside it. Each has a null object, so that the road is whole
// without them.
namespace trovix {

/// Who handed a link over.
enum class LinkHandler : std::uint8_t {
  universalLink = 1,
  pushNotification = 2,
  launchOptions = 3,
  openURLWithSource = 4,
  openURLWithOptions = 5,
  cleared = 6,
};

class DeepLinks {
 public:
  virtual ~DeepLinks() = default;
  /// A missing link clears the last one. Any thread; returns at once.
  virtual void setDeepLinkAndResolve(const std::optional<std::string>& URL, LinkHandler handler) = 0;
  /// Resolves the web page of a browsing-web activity ({"activityType", "webpageURL"}). Any thread.
  virtual void continueUserActivity(const Dictionary& userActivity) = 0;
  /// Parameters of the last resolved link; taking them clears them. Any thread.
  [[nodiscard]] virtual std::optional<Dictionary> takeVeyraParams() = 0;
  /// The server's link configuration in an answer; nothing happens when it is absent. Any thread.
  virtual void handleVeyraResponse(const std::optional<Value>& response) = 0;
};

class ConversionRules {
 public:
  /// Readiness bits.
  static constexpr std::uint64_t finishedLaunching = 2;
  static constexpr std::uint64_t devKeyKnown = 4;
  static constexpr std::uint64_t appIdKnown = 8;

  virtual ~ConversionRules() = default;
  // Serial queue.
  virtual void willResolveSKRules(std::uint64_t bit) = 0;
  /// The new value when it was raised; 0 without a rule or after the window; else the negated current value.
  virtual std::int32_t willUpdateConversionValueWithName(const std::string& name,
                                                         const std::optional<Dictionary>& values) = 0;
  // Any thread; return at once.
  virtual void willRequestConversionValueAndUpdate() = 0;
  [[nodiscard]] virtual bool isS2SModeEnabled() const = 0;
  [[nodiscard]] virtual bool isSKWindowExpired() const = 0;
};

class PartnerData {
 public:
  virtual ~PartnerData() = default;
  // The two sections, absent before any partner was set. Any thread.
  [[nodiscard]] virtual std::optional<Dictionary> partnerData() const = 0;
  [[nodiscard]] virtual std::optional<Dictionary> error() const = 0;
};

class PushInformation {
 public:
  virtual ~PushInformation() = default;
  /// The push payload that opened the application; taking it clears it. Any thread.
  [[nodiscard]] virtual std::optional<std::string> takeNotificationUserInfo() = 0;
};

class NoDeepLinks final : public DeepLinks {
 public:
  void setDeepLinkAndResolve(const std::optional<std::string>&, LinkHandler) override {}
  void continueUserActivity(const Dictionary&) override {}
  std::optional<Dictionary> takeVeyraParams() override { return std::nullopt; }
  void handleVeyraResponse(const std::optional<Value>&) override {}
};

class NoConversionRules final : public ConversionRules {
 public:
  void willResolveSKRules(std::uint64_t) override {}
  std::int32_t willUpdateConversionValueWithName(const std::string&, const std::optional<Dictionary>&) override {
    return 0;
  }
  void willRequestConversionValueAndUpdate() override {}
  bool isS2SModeEnabled() const override { return false; }
  bool isSKWindowExpired() const override { return true; }
};

class NoPartnerData final : public PartnerData {
 public:
  std::optional<Dictionary> partnerData() const override { return std::nullopt; }
  std::optional<Dictionary> error() const override { return std::nullopt; }
};

class NoPushInformation final : public PushInformation {
 public:
  std::optional<std::string> takeNotificationUserInfo() override { return std::nullopt; }
};

}  // namespace trovix
