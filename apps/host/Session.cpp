#include "host/Session.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "collector/Collector.h"
#include "host/FacebookClass.h"
#include "host/Properties.h"
#include "trovix/platform/NotificationCenter.h"
#include "trovix/platform/Queues.h"

namespace trovix::host {
namespace {

namespace notification = platform::application;

/// A data directory for this run only, removed once the process has ended in order.
std::string makeTemporaryDirectory() {
  static std::string directory = (std::filesystem::temp_directory_path() / "trovix-host-XXXXXX").string();
  if (mkdtemp(directory.data()) == nullptr) return std::filesystem::current_path().string();
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  });
  return directory;
}

/// Lines are printed from library threads until the very end, so what prints them is never destroyed.
Output& makeOutput() {
  static auto* const output = new Output;
  return *output;
}

Dictionary completionFields(const std::optional<Dictionary>& data, const std::optional<Error>& error) {
  Dictionary fields;
  fields.setIfPresent("data", data);
  if (error) fields.set("error", errorFields(*error));
  return fields;
}

}  // namespace

Session::Session(Options options)
    : options_(std::move(options)), output_(makeOutput()), espHeaders_(std::make_shared<EspHeaders>()) {
  if (options_.dataDirectory.empty()) options_.dataDirectory = makeTemporaryDirectory();
  if (options_.standIn) startStandIn();

  platform::LinuxPlatformOptions platformOptions;
  platformOptions.dataDirectory = options_.dataDirectory;
  platformOptions.deviceProfile = options_.deviceProfile.value_or(builtInDeviceProfile());
  platformOptions.connectTo = options_.connectTo;
  platformOptions.certificateAuthorityFile = options_.certificateAuthorityFile;
  platformOptions.timeOffset = options_.timeOffset;
  platformOptions.adNetworkObserver = [&output = output_](std::optional<std::int64_t> value) {
    Dictionary fields;
    fields.setIfPresent("value", value);
    output.line(value ? "conversionValue" : "adNetworkRegistered", fields);
  };
  platform_ = new platform::LinuxPlatform(std::move(platformOptions));  // lives until the process has ended
  platform::setDefaultPlatform(platform_->services());

  TrovixLib& sdk = TrovixLib::shared();
  if (options_.printCached) {
    sdk.setRequestCacheObserver([&output = output_](const std::string& uuid, const std::string& path) {
      output.line("cached", {{"event", uuid}, {"file", path}});
    });
  }
  if (options_.host || options_.hostPrefix) sdk.setHost(options_.host, options_.hostPrefix);
  if (options_.debug) sdk.setIsDebug(true);
  if (options_.trace) sdk.setIsTrace(true);
  // Shows the library that the main queue is served, before a command may ask for it.
  sleep(0.001);
}

void Session::startStandIn() {
  collector::Collector::Options standInOptions;
  standInOptions.devKey = options_.devKey;
  standInOptions.tlsDirectory = options_.dataDirectory + "/stand-in";
  static auto* const standIn = new collector::Collector(std::move(standInOptions));
  if (const Status started = standIn->start(); !started) {
    std::fprintf(stderr, "stand-in: %s\n", started.error().localizedDescription().c_str());
    std::exit(1);
  }
  // It is the first to use OpenSSL, and the platform is made later. So the end comes in the right order: the platform,
  // which still asks it, then the stand-in, then OpenSSL.
  std::atexit([] { standIn->stop(); });
  options_.connectTo = standIn->address();
  options_.certificateAuthorityFile = standIn->caFile();
}

bool Session::serveMainQueueUntil(const std::function<bool()>& done, std::chrono::duration<double> limit) {
  return platform_->runMainLoopUntil(done, std::chrono::nanoseconds(saturatingInteger(limit.count() * 1e9)));
}

void Session::finish() {
  constexpr double idleLimit = 30;
  idle(idleLimit);
  quit();
}

void Session::quit() { std::exit(exitStatus_); }

void Session::prepare() {
  agent().prepareWithConfigs({std::make_shared<quorrel::QuorrelTrovixConfig>(options_.devKey, options_.appId)});
  observer_ = std::make_shared<quorrel::QuorrelObserver>();
  observer_->quorrelReferralsAttributionChanged =
      [&output = output_](const quorrel::QRReferralsAttributionChangedInfo& info) {
        Dictionary fields{{"source", static_cast<std::uint64_t>(info.source)}};
        fields.setIfPresent("attribution", info.attribution);
        output.line("quorrelReferralsAttributionChanged", fields);
      };
  agent().observeEventsFor(observer_);
  passedOnTo_ = sdk().delegate();
  delegate_ = makePrintingDelegate(passedOnTo_);
  sdk().setDelegate(delegate_);
}

void Session::setPrintingDelegate(const std::optional<std::string>& kind) {
  delegate_ = kind == "none" ? nullptr : makePrintingDelegate(nullptr);
  if (kind == "failure-only") {
    delegate_->onConversionDataSuccess = nullptr;
    delegate_->onAppOpenAttribution = nullptr;
  }
  sdk().setDelegate(delegate_);
}

std::shared_ptr<TrovixLibDelegate> Session::makePrintingDelegate(const std::shared_ptr<TrovixLibDelegate>& next) {
  auto delegate = std::make_shared<TrovixLibDelegate>();
  if (next) delegate->className = next->className;
  delegate->onConversionDataSuccess = [&output = output_, next](const Dictionary& data) {
    output.line("onConversionDataSuccess", {{"data", data}});
    if (next) next->onConversionDataSuccess(data);
  };
  delegate->onConversionDataFail = [&output = output_, next](const Error& error) {
    output.line("onConversionDataFail", {{"error", errorFields(error)}});
    if (next) next->onConversionDataFail(error);
  };
  delegate->onAppOpenAttribution = [&output = output_, next](const Dictionary& data) {
    output.line("onAppOpenAttribution", {{"data", data}});
    if (next) next->onAppOpenAttribution(data);
  };
  delegate->onAppOpenAttributionFailure = [&output = output_, next](const Error& error) {
    output.line("onAppOpenAttributionFailure", {{"error", errorFields(error)}});
    if (next) next->onAppOpenAttributionFailure(error);
  };
  delegate->allHTTPHeaderFieldsForResolveDeepLinkURL = [headers = espHeaders_](const std::string&) {
    return headers->get();
  };
  return delegate;
}

void Session::setDeepLinkDelegate(bool present) {
  deepLinkDelegate_ = present ? std::make_shared<TrovixDeepLinkDelegate>() : nullptr;
  if (present) {
    deepLinkDelegate_->didResolveDeepLink = [&output = output_](const TrovixDeepLinkResult& result) {
      output.line("didResolveDeepLink", deepLinkResultFields(result));
    };
  }
  sdk().setDeepLinkDelegate(deepLinkDelegate_);
}

void Session::setEspHeaders(std::optional<Dictionary> headers) { espHeaders_->set(std::move(headers)); }

void Session::start() {
  sdk().startWithCompletionHandler([&output = output_](const auto& data, const auto& error) {
    output.line("start", completionFields(data, error));
  });
}

void Session::finishLaunching(const Dictionary& options) {
  Dictionary userInfo;
  if (const auto* url = options.find("url")) userInfo.set(notification::launchURLKey, *url);
  if (const auto* source = options.find("sourceApplication")) {
    userInfo.set(notification::launchSourceApplicationKey, *source);
  }
  if (const auto* activity = options.dictionary("userActivity")) {
    Dictionary converted;
    if (const auto* type = activity->find("type")) converted.set("activityType", *type);
    if (const auto* page = activity->find("webpageURL")) converted.set("webpageURL", *page);
    userInfo.set(notification::launchUserActivityDictionaryKey,
                 Dictionary{{"UIApplicationLaunchOptionsUserActivityKey", converted}});
  }
  post(notification::didFinishLaunching, userInfo.empty() ? std::nullopt : std::optional(userInfo));
}

void Session::post(const char* name, std::optional<Dictionary> userInfo) {
  platform_->services().notificationCenter.post({name, std::move(userInfo)});
}

void Session::logEvent(const std::string& name, std::optional<Dictionary> values) {
  sdk().logEventWithEventName(name, std::move(values), [&output = output_, name](const auto& data, const auto& error) {
    Dictionary fields{{"event", name}};
    fields.merge(completionFields(data, error));
    output.line("event", fields);
  });
}

void Session::setProperty(const std::string& name, const Value& value) { findProperty(name)->set(sdk(), value); }

void Session::getProperty(const std::string& name) {
  Dictionary fields{{"property", name}};
  fields.setIfPresent("value", findProperty(name)->get(sdk(), agent()));
  output_.line("value", fields);
}

void Session::registerFacebookClass(const Dictionary& answer) {
  constexpr const char* facebookClassName = "FBSDKAppLinkUtility";
  platform_->registerClass(facebookClassName,
                           std::make_shared<FacebookClass>(answer, platform_->services().queues.globalQueue()));
  sdk().enableFacebookDeferredApplinksWithClass(facebookClassName);
}

void Session::await(const std::string& name, double seconds) {
  if (!serveMainQueueUntil([&] { return output_.take(name); }, std::chrono::duration<double>(seconds))) timeOut(name);
}

void Session::idle(double seconds) {
  if (!serveMainQueueUntil([this] { return platform_->isIdle(); }, std::chrono::duration<double>(seconds))) {
    timeOut("idle");
  }
}

void Session::sleep(double seconds) {
  serveMainQueueUntil([] { return false; }, std::chrono::duration<double>(seconds));
}

void Session::timeOut(const std::string& what) {
  constexpr int timedOut = 3;
  output_.line("timeout", {{"waitingFor", what}});
  raiseExitStatus(timedOut);
}

}  // namespace trovix::host
