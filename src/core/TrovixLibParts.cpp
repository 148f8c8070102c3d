#include "core/TrovixLibParts.h"

#include <fmt/core.h>

#include <atomic>

#include "common/Log.h"
#include "common/Version.h"
#include "core/RefreshingQueue.h"
#include "core/StartUp.h"
#include "network/TrovixHTTPClient.h"
#include "storage/TXSDKKeychainFactory.h"
#include "storage/TXSDKStorageFactory.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/Console.h"
#include "trovix/platform/DeviceFacts.h"
#include "trovix/platform/Queues.h"

namespace trovix {
namespace {

std::atomic<const TrovixLib::Parts::LogOutlet*> newestOutlet{nullptr};

bool flagInBundle(const platform::Bundle& bundle, std::string_view key, bool fallback) {
  const std::optional<Value> value = bundle.infoValue(key);
  return value ? value->boolValue() : fallback;
}

std::optional<std::string> groupNameInBundle(const platform::Bundle& bundle) {
  const std::optional<Value> name = bundle.infoValue("TrovixAppGroupName");
  if (!name || name->string() == nullptr || name->string()->empty()) return std::nullopt;
  return *name->string();
}

std::unique_ptr<TXSDKStorageProtocol> makeStorage(platform::Platform& platform,
                                                  const std::optional<std::string>& groupName, std::int8_t& status) {
  const TXSDKStorageFactory factory(platform.userDefaults, platform.bundle);
  if (!groupName) return factory.defaultStorage();
  return factory.storageWithSuiteName(*groupName, status, flagInBundle(platform.bundle, "TrovixAppClip", false));
}

std::shared_ptr<platform::SerialQueue> makeSerialQueue(platform::Queues& queues, bool isStorageShared,
                                                       TXSDKStorageProtocol& storage, const Lifetime& lifetime) {
  auto queue = queues.makeSerialQueue(std::string(reverseDNSIdentifier) + ".serial");
  if (!isStorageShared) return queue;
  return std::make_shared<RefreshingQueue>(std::move(queue), storage, lifetime);
}

std::shared_ptr<TXSDKBuffer> makeBuffer(platform::Platform& platform) {
  const std::optional<Value> size = platform.bundle.infoValue("TrovixBufferSize");
  auto buffer = size && txsdk_exists(*size) ? TXSDKBuffer::bufferWithSize(size->integerValue(), platform.queues)
                                            : TXSDKBuffer::buffer(platform.queues);
  buffer->setAutoFlush(false);
  return buffer;
}

}  // namespace

TrovixLib::Parts::LogOutlet::LogOutlet(platform::Platform& platform) {
  newestOutlet = this;
  logging::installSink(&platform.systemLog, &platform.clock);
  TXSetSessionStartDate(platform.clock.now());
}

TrovixLib::Parts::LogOutlet::~LogOutlet() {
  const LogOutlet* self = this;
  if (newestOutlet.compare_exchange_strong(self, nullptr)) logging::installSink(nullptr, nullptr);
}

TrovixLib::Parts::Parts(platform::Platform& platform)
    : services(platform),
      logOutlet(platform),
      appGroupName(groupNameInBundle(platform.bundle)),
      storage(makeStorage(platform, appGroupName, migrationStatus)),
      keychain(TXSDKKeychainFactory::keychainWithType(0, platform.keychain)),
      settings(*storage),
      installation(platform, *storage, *keychain),
      utils(platform),
      systemInfo(platform.systemControl, platform.screen, platform.device),
      performance(platform.clock),
      checksum(platform.environment, platform.device, platform.integrity),
      remoteDebugging(platform.clock, platform.locale, *storage),
      espRedirects(std::make_shared<EspRedirects>(settings, lifetime)),
      http(TXSDKHTTPClientFactory::HTTPClientWithType(0, platform, checksum, remoteDebugging, espRedirects, lifetime)),
      remoteDebugUploader(settings, installation, platform.bundle, *http),
      frameworkLoader(platform.frameworks),
      iAdClient(frameworkLoader, platform.frameworks, platform.device, platform.clock, platform.queues, lifetime),
      serial(makeSerialQueue(platform.queues, appGroupName.has_value(), *storage, lifetime)),
      cache(platform.fileSystem, platform.directories, platform.clock),
      buffer(makeBuffer(platform)),
      bufferDelegate(*storage, cache),
      deepLinkDelivery(platform, settings, lifetime),
      deepLinks({.platform = platform,
                 .serial = *serial,
                 .settings = settings,
                 .session = session,
                 .storage = *storage,
                 .http = *http,
                 .buffer = *buffer,
                 .performance = performance,
                 .delivery = deepLinkDelivery,
                 .redirects = *espRedirects,
                 .pushPaths = pushPaths,
                 .lifetime = lifetime}),
      push(deepLinks, pushPaths),
      rules({.platform = platform,
             .serial = *serial,
             .settings = settings,
             .installation = installation,
             .storage = *storage,
             .loader = frameworkLoader,
             .http = *http,
             .buffer = *buffer,
             .lifetime = lifetime}),
      payload({.platform = platform,
               .settings = settings,
               .session = session,
               .installation = installation,
               .storage = *storage,
               .systemInfo = systemInfo,
               .utils = utils,
               .iAdClient = iAdClient,
               .push = push,
               .serial = *serial,
               .lifetime = lifetime}),
      conversionData(platform, settings, installation, *storage, *http, performance, lifetime),
      dispatch({.platform = platform,
                .serial = *serial,
                .settings = settings,
                .session = session,
                .storage = *storage,
                .iAdClient = iAdClient,
                .utils = utils,
                .payload = payload,
                .conversionData = conversionData,
                .http = *http,
                .cache = cache,
                .buffer = *buffer,
                .performance = performance,
                .deepLinks = deepLinks,
                .rules = rules,
                .partners = partners,
                .lifetime = lifetime}),
      lifecycle({.platform = platform,
                 .serial = *serial,
                 .settings = settings,
                 .session = session,
                 .installation = installation,
                 .storage = *storage,
                 .iAdClient = iAdClient,
                 .utils = utils,
                 .remoteDebugging = remoteDebugging,
                 .http = *http,
                 .performance = performance,
                 .dispatch = dispatch,
                 .deepLinks = deepLinks,
                 .rules = rules,
                 .lifetime = lifetime}),
      observers(platform.notificationCenter, lifecycle, lifetime),
      deferredDeepLink({.platform = platform,
                        .serial = *serial,
                        .settings = settings,
                        .session = session,
                        .installation = installation,
                        .storage = *storage,
                        .iAdClient = iAdClient,
                        .http = *http,
                        .buffer = *buffer,
                        .performance = performance,
                        .delivery = deepLinkDelivery,
                        .lifetime = lifetime}),
      purchases({.platform = platform,
                 .serial = *serial,
                 .settings = settings,
                 .session = session,
                 .installation = installation,
                 .utils = utils,
                 .iAdClient = iAdClient,
                 .payload = payload,
                 .dispatch = dispatch,
                 .rules = rules,
                 .http = *http,
                 .lifetime = lifetime}),
      adRevenue(settings, payload, *storage, *http, lifetime),
      uninstallToken({.platform = platform,
                      .serial = *serial,
                      .settings = settings,
                      .installation = installation,
                      .storage = *storage,
                      .iAdClient = iAdClient,
                      .utils = utils,
                      .systemInfo = systemInfo,
                      .http = *http,
                      .lifetime = lifetime}),
      linkGenerationHost(platform, settings, session, installation, *storage, *http, dispatch) {
  settings.isAppClip = flagInBundle(platform.bundle, "TrovixAppClip", false);
  settings.VPNCollectionEnabled = flagInBundle(platform.bundle, "TrovixVPNCollectionEnabled", true);
  remoteDebugging.attach(&remoteDebugUploader);
  iAdClient.setQueue(serial);
}

std::shared_ptr<TrovixLib::Parts> TrovixLib::Parts::make(platform::Platform& platform) {
  auto parts = std::make_shared<Parts>(platform);
  parts->lifetime.bind(parts);
  parts->begin(parts);
  return parts;
}

void TrovixLib::Parts::begin(const std::shared_ptr<Parts>& self) {
  // The buffer keeps all the parts alive while it asks its delegate.
  buffer->setDelegate(std::shared_ptr<TXSDKBufferProtocol>(self, &bufferDelegate));
  installLinkHost(std::shared_ptr<LinkHost>(self, &linkGenerationHost));
  const bool printsToConsole = !services.environment.variable("TROVIX_DISABLE_LOGS").has_value();
  serial->post(lifetime.guard([this, printsToConsole] {
    StartUp{.keychain = *keychain,
            .performance = performance,
            .installation = installation,
            .cache = cache,
            .dispatch = dispatch,
            .console = services.console}
        .run(printsToConsole);
  }));
  observers.observe();
  if (printsToConsole) printBanner();
}

void TrovixLib::Parts::printBanner() const {
  services.console.print(fmt::format("Trovix SDK version {} started build ({});\n", sdkVersion, sdkBuild));
  if (migrationStatus == 0) return;
  services.console.print(
      fmt::format("Trovix SDK migration: `{}`. Result: {}\n", appGroupName.value_or(""), migrationStatus));
}

}  // namespace trovix
