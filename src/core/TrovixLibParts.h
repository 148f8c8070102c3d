#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/Lifetime.h"
#include "core/AdRevenue.h"
#include "core/ApplicationObservers.h"
#include "core/ConversionData.h"
#include "core/ConversionRuleFetcher.h"
#include "core/DeepLinkAttribution.h"
#include "core/DeepLinkDelivery.h"
#include "core/DeferredDeepLink.h"
#include "core/DispatchBufferDelegate.h"
#include "core/EspRedirects.h"
#include "core/EventDispatch.h"
#include "core/EventPayload.h"
#include "core/Installation.h"
#include "core/LaunchLifecycle.h"
#include "core/LinkGenerationHost.h"
#include "core/PartnerDataRecord.h"
#include "core/Purchases.h"
#include "core/PushLinks.h"
#include "core/RemoteDebugUploader.h"
#include "core/SessionState.h"
#include "core/Settings.h"
#include "core/UninstallToken.h"
#include "device/FrameworkLoader.h"
#include "device/TXSDKiAdClient.h"
#include "device/TXSystemInfo.h"
#include "device/TrovixUtils.h"
#include "network/Signing.h"
#include "network/TXSDKBuffer.h"
#include "network/TXSDKEventCache.h"
#include "network/TXSDKHTTPClientProtocol.h"
#include "network/TXSDKPerformance.h"
#include "network/TrovixProxyManager.h"
#include "storage/TXSDKKeychainProtocol.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/TrovixLib.h"

namespace trovix {

/// Everything behind the facade, in the order in which it is made. Closures that wait hold it through `lifetime`, so
/// it may be destroyed on any thread.
struct TrovixLib::Parts {
  /// Makes the parts and wires them; nothing runs yet.
  explicit Parts(platform::Platform& platform);
  /// Makes the parts, then sets them going: the start-up job, the notifications, the banner.
  [[nodiscard]] static std::shared_ptr<Parts> make(platform::Platform& platform);

  platform::Platform& services;
  Lifetime lifetime;

  /// The log's way out, while this is the newest SDK of the process.
  class LogOutlet {
   public:
    explicit LogOutlet(platform::Platform& platform);
    ~LogOutlet();
    LogOutlet(const LogOutlet&) = delete;
    LogOutlet& operator=(const LogOutlet&) = delete;
  } logOutlet;

  // Storage, which everything else leans on.
  const std::optional<std::string> appGroupName;
  std::int8_t migrationStatus = 0;
  const std::unique_ptr<TXSDKStorageProtocol> storage;
  const std::unique_ptr<TXSDKKeychainProtocol> keychain;
  Settings settings;
  SessionState session;
  Installation installation;

  // Facts and helpers.
  TrovixUtils utils;
  TXSystemInfo systemInfo;
  TXSDKPerformance performance;
  TXSDKChecksum checksum;

  // The request pipeline.
  TrovixProxyManager remoteDebugging;
  const std::shared_ptr<EspRedirects> espRedirects;
  const std::shared_ptr<TXSDKHTTPClientProtocol> http;
  RemoteDebugUploader remoteDebugUploader;
  FrameworkLoader frameworkLoader;
  TXSDKiAdClient iAdClient;
  const std::shared_ptr<platform::SerialQueue> serial;
  TXSDKEventCache cache;
  const std::shared_ptr<TXSDKBuffer> buffer;
  DispatchBufferDelegate bufferDelegate;

  // The features beside the launch and event road, which it asks.
  DeepLinkDelivery deepLinkDelivery;
  PushLinkPaths pushPaths;
  DeepLinkAttribution deepLinks;
  PushLinks push;
  ConversionRuleFetcher rules;
  PartnerDataRecord partners;

  // The launch and event road.
  EventPayload payload;
  ConversionData conversionData;
  EventDispatch dispatch;
  LaunchLifecycle lifecycle;
  ApplicationObservers observers;

  // The features on top of it.
  DeferredDeepLink deferredDeepLink;
  Purchases purchases;
  AdRevenue adRevenue;
  UninstallToken uninstallToken;
  LinkGenerationHost linkGenerationHost;

 private:
  void begin(const std::shared_ptr<Parts>& self);
  void printBanner() const;
};

}  // namespace trovix
