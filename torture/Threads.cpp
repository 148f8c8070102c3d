#include <fmt/core.h>

#include <atomic>
#include <future>
#include <random>
#include <thread>

#include "collector/Collector.h"
#include "core/TrovixLibParts.h"
#include "quorrel/QuorrelCore.h"
#include "torture/Ledger.h"
#include "torture/Lives.h"
#include "torture/Torture.h"
#include "trovix/TrovixLib.h"
#include "trovix/TrovixShareInviteHelper.h"
#include "trovix/platform/NotificationCenter.h"
#include "trovix/platform/SystemLog.h"

namespace trovix::torture {
namespace {

using namespace std::chrono_literals;
using ThreadsClock = std::chrono::steady_clock;

constexpr int callers = 8;
constexpr std::int64_t mostUnderWay = 150;
constexpr auto restLimit = 180s;

constexpr const char* everyLink[] = {
    "shop://cart?x=1&access_token=secret",       "https://shop.example/sale?pid=mail&c=spring",
    "https://click.shop.example/abc?u=1",        "https://brand.example/tmpl/short",
    "https://brand.example/only-one-component",  "not a link at all",
    "fb123://authorize#access_token=secret&x=1", "https://shop.example/%zz?%%%=1&&&"};

// The agent logs whatever it hears.
struct MutedLog final : platform::SystemLog {
  void write(std::string_view /*line*/) override {}
};

class ThreadsRun {
 public:
  ThreadsRun(const Options& options, Report& report);
  bool start();
  void call(int caller);
  void judge();

 private:
  /// What one caller keeps.
  struct Caller {
    std::mt19937 random;
    std::shared_ptr<TrovixLibDelegate> delegate = {};
    std::shared_ptr<TrovixDeepLinkDelegate> deepLinkDelegate = {};
    std::shared_ptr<quorrel::QuorrelObserver> observer = {};
    std::unique_ptr<platform::NotificationCenter::Registration> registration = {};
  };

  void configure(Caller& caller);
  void read(Caller& caller);
  void logEvents(Caller& caller);
  void openLinks(Caller& caller);
  void notify(Caller& caller);
  void changeDelegates(Caller& caller);
  void changeObservers(Caller& caller);
  void stopAndGoOn(Caller& caller);
  /// Whether another request keeps step with the events, which wait in the same buffer.
  [[nodiscard]] bool mayAdd();
  void waitForSerialQueue();

  const Options& options_;
  Report& report_;
  Ledger ledger_;
  collector::Collector server_;
  MutedLog log_;
  std::unique_ptr<platform::LinuxPlatform> platform_;
  std::unique_ptr<platform::Platform> services_;
  std::unique_ptr<TrovixLib> sdk_;
  std::unique_ptr<quorrel::QuorrelCore> agent_;
  std::atomic<std::int64_t> calls_{0};
  std::atomic<std::int64_t> heard_{0};
  std::atomic<std::int64_t> added_{0};
  std::atomic<int> preparations_{0};
};

ThreadsRun::ThreadsRun(const Options& options, Report& report)
    : options_(options),
      report_(report),
      server_({.devKey = livesDeveloperKey,
               .tlsDirectory = options.directory + "/tls",
               .onRequest = [this](const Dictionary& request) { ledger_.didReceive(request); },
               .keptRequests = 0}) {}

bool ThreadsRun::start() {
  if (!report_.expect(static_cast<bool>(server_.start()), "threads: the stand-in does not start")) return false;
  platform_ = std::make_unique<platform::LinuxPlatform>(platformOptionsOf(
      {{"data", options_.directory + "/data"}, {"server", server_.address()}, {"authority", server_.caFile()}}));
  platform::Platform& real = platform_->services();
  services_ = std::make_unique<platform::Platform>(servicesWith(real, real.fileSystem, log_));
  sdk_ = std::make_unique<TrovixLib>(*services_);
  agent_ = std::make_unique<quorrel::QuorrelCore>(*sdk_, *services_);
  sdk_->setRequestCacheObserver([this](const std::string& uuid, const std::string&) { ledger_.didAccept(uuid); });
  sdk_->setTrovixDevKey(livesDeveloperKey);
  sdk_->setAppleAppID(Value("1234567890"));
  sdk_->setResolveDeepLinkURLs(std::vector<std::string>{"click.shop.example"});
  sdk_->setVeyraCustomDomains(std::vector<std::string>{"brand.example"});
  // Deferred links and delayed work must end before the run does.
  sdk_->setDeepLinkTimeout(1000);
  sdk_->start();
  return true;
}

void ThreadsRun::configure(Caller& caller) {
  TrovixLib& sdk = *sdk_;
  const auto number = caller.random();
  const std::string text = fmt::format("value-{}", number % 1000);
  sdk.setCustomerUserID(text);
  sdk.setCurrencyCode(number % 2 == 0 ? std::optional<std::string>("EUR") : std::nullopt);
  sdk.setAdditionalData(Dictionary{{"key", text}, {"list", Array{1, text, nullptr}}});
  sdk.setUserEmails(Array{text + "@shop.example", 5}, static_cast<std::int32_t>(number % 4));
  sdk.setPhoneNumber(text);
  sdk.setSharingFilter(std::vector<std::string>{text, "partner_int"});
  sdk.setHost("trovix.example", number % 2 == 0 ? "one" : "two");
  sdk.setAnonymizeUser(number % 3 == 0);
  sdk.setDisableSKAdNetwork(number % 5 == 0);
  sdk.setIsBackgroundRequestEnabled(number % 64 == 0);
  sdk.setMinTimeBetweenSessions(number % 16 == 0 ? 0 : 1);
  sdk.setPartnerDataWithPartnerId("partner_int", Dictionary{{"key", text}});
  sdk.setFacebookDeferredAppLink(number % 2 == 0 ? std::optional("shop://" + text) : std::nullopt);
  sdk.appendParametersToDeepLinkingURLWithString("shop.example", {{"appended", text}});
  platform_->mergeDeviceProfile({{"frameworks", Dictionary{{"attStatus", static_cast<int>(number % 4)}}}});
}

void ThreadsRun::read(Caller& /*caller*/) {
  TrovixLib& sdk = *sdk_;
  // The sum keeps the reads; that they are safe is what counts.
  const std::size_t sum = sdk.getTrovixUID().size() + sdk.getOriginalTrovixId().size() + sdk.host().size() +
                          sdk.customerUserID().value_or("").size() + sdk.userEmails().value_or(Array()).size() +
                          sdk.customData().value_or(Dictionary()).size() + sdk.phoneNumber().value_or("").size() +
                          sdk.sharingFilter().value_or(std::vector<std::string>()).size() +
                          sdk.advertisingIdentifier().value_or("").size() + agent_->retrievedAttributes().size() +
                          agent_->trackerIds().size();
  report_.expect(sum > 0 && agent_->subModules().size() <= 1, "threads: an application without an identity");
}

void ThreadsRun::logEvents(Caller& caller) {
  if (ledger_.underWay() > mostUnderWay) return;
  const std::string name = ledger_.newEvent();
  sdk_->logEventWithEventName(name, Dictionary{{"number", static_cast<std::int64_t>(caller.random())}},
                              [this, name](const std::optional<Dictionary>&, const std::optional<Error>& error) {
                                ledger_.didComplete(name, error);
                              });
  if (caller.random() % 50 == 0) {
    sdk_->sendAdRevenueWithParameters({{"revenue", 0.5}});
    sdk_->registerUninstall({0xAB, static_cast<std::uint8_t>(caller.random() % 256)});
    sdk_->validateAndLogInAppPurchase(
        "product", "1.99", "EUR", "transaction", std::nullopt, [this](const Dictionary&) { ++heard_; },
        [this](const std::optional<Error>&, const std::optional<Value>&) { ++heard_; });
  }
}

bool ThreadsRun::mayAdd() {
  constexpr std::int64_t mostAhead = 50;
  return added_ < ledger_.completed() + mostAhead && ++added_ > 0;
}

void ThreadsRun::openLinks(Caller& caller) {
  if (!mayAdd()) return;
  const std::string link = everyLink[caller.random() % std::size(everyLink)];
  switch (caller.random() % 5) {
    case 0:
      sdk_->handleOpenURL(link, "com.example.mail");
      break;
    case 1:
      sdk_->continueUserActivity(
          {{"activityType", platform::application::browsingWebActivityType}, {"webpageURL", link}}, {});
      break;
    case 2:
      sdk_->performOnAppAttributionWithURL(link);
      break;
    case 3:
      sdk_->handlePushNotification({{"tx", Dictionary{{"link", link}}}, {"pid", "push"}});
      break;
    default:
      TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator(
          [](TrovixLinkGenerator generator) { return generator; }, [this](const std::string&) { ++heard_; });
  }
}

void ThreadsRun::notify(Caller& caller) {
  namespace application = platform::application;
  auto& center = services_->notificationCenter;
  switch (caller.random() % 4) {
    case 0:
      center.post({application::didFinishLaunching, std::nullopt});
      break;
    case 1:
      if (mayAdd())
        center.post({application::didFinishLaunching, Dictionary{{application::launchURLKey, everyLink[1]}}});
      break;
    case 2:
      center.post({application::didEnterBackground, std::nullopt});
      break;
    default:
      center.post({application::didBecomeActive, std::nullopt});
      if (mayAdd()) sdk_->startWithCompletionHandler([this](const auto&, const auto&) { ++heard_; });
  }
}

void ThreadsRun::changeDelegates(Caller& caller) {
  // The one before goes while calls to it may be on their way. What its operations use goes with it.
  auto words = std::make_shared<std::vector<std::string>>();
  const auto hear = [this, words, guard = std::make_shared<std::mutex>()](const std::string& word) {
    const std::lock_guard lock(*guard);
    words->push_back(word);
    ++heard_;
  };
  caller.delegate = std::make_shared<TrovixLibDelegate>();
  caller.delegate->onConversionDataSuccess = [hear](const Dictionary& data) { hear(description(data)); };
  caller.delegate->onConversionDataFail = [hear](const Error& error) { hear(error.localizedDescription()); };
  caller.delegate->onAppOpenAttribution = [hear](const Dictionary& data) { hear(description(data)); };
  caller.delegate->onAppOpenAttributionFailure = [hear](const Error& error) { hear(error.localizedDescription()); };
  caller.delegate->allHTTPHeaderFieldsForResolveDeepLinkURL = [hear](const std::string& url) {
    hear(url);
    return std::optional(Dictionary{{"X-Asked", url}});
  };
  sdk_->setDelegate(caller.delegate);
  caller.deepLinkDelegate = std::make_shared<TrovixDeepLinkDelegate>();
  caller.deepLinkDelegate->didResolveDeepLink = [hear](const TrovixDeepLinkResult& result) {
    hear(result.deepLink() ? description(result.deepLink()->clickEvent()) : "nothing");
  };
  sdk_->setDeepLinkDelegate(caller.deepLinkDelegate);
  if (caller.random() % 4 == 0) caller.deepLinkDelegate.reset();
  if (caller.random() % 50 == 0) sdk_->getConversionData();
}

void ThreadsRun::changeObservers(Caller& caller) {
  if (caller.observer) agent_->removeObserverFor(caller.observer);
  caller.observer = std::make_shared<quorrel::QuorrelObserver>();
  caller.observer->quorrelReferralsAttributionChanged = [this](const auto&) { ++heard_; };
  agent_->observeEventsFor(caller.observer);
  agent_->quorrelReferralsChanged({.source = quorrel::SourceType::trovix, .attribution = "{}"});
  caller.registration = services_->notificationCenter.addObserver(platform::application::didBecomeActive,
                                                                  [this](const platform::Notification&) { ++heard_; });
  // The observer of each preparation stays, and starts the SDK whenever the application becomes active.
  if (caller.random() % 50 == 0 && preparations_++ < 3) {
    agent_->prepareWithConfigs({std::make_shared<quorrel::QuorrelTrovixConfig>(livesDeveloperKey, "1234567890")});
  }
}

void ThreadsRun::stopAndGoOn(Caller& caller) {
  if (caller.random() % 20 != 0) return;
  sdk_->setIsStopped(true);
  sdk_->setIsStopped(false);
}

void ThreadsRun::waitForSerialQueue() {
  auto done = std::make_shared<std::promise<void>>();
  auto future = done->get_future();
  sdk_->parts().serial->post([done] { done->set_value(); });
  report_.expect(future.wait_for(restLimit) == std::future_status::ready, "threads: the serial queue hangs");
}

void ThreadsRun::call(int number) {
  constexpr void (ThreadsRun::*everyAction[])(Caller&) = {
      &ThreadsRun::configure,  &ThreadsRun::read,   &ThreadsRun::logEvents,       &ThreadsRun::logEvents,
      &ThreadsRun::openLinks,  &ThreadsRun::notify, &ThreadsRun::changeDelegates, &ThreadsRun::changeObservers,
      &ThreadsRun::stopAndGoOn};
  Caller caller{.random = std::mt19937(options_.seed + static_cast<std::uint32_t>(number))};
  const auto deadline = ThreadsClock::now() + options_.time;
  for (int i = 1; ThreadsClock::now() < deadline; ++i) {
    (this->*everyAction[caller.random() % std::size(everyAction)])(caller);
    ++calls_;
    // No caller gets far ahead of the work it makes.
    if (i % 32 == 0) waitForSerialQueue();
  }
}

void ThreadsRun::judge() {
  const auto deadline = ThreadsClock::now() + restLimit;
  while (!platform_->isIdle() && ThreadsClock::now() < deadline) std::this_thread::sleep_for(5ms);
  report_.expect(platform_->isIdle(), "threads: the library does not come to rest");
  ledger_.judge(report_);
  report_.expect(waitingRequests(options_.directory + "/data") == 0, "threads: requests stayed in the cache");
  report_.expect(heard_ > 0, "threads: no callback was called");
  platform_->shutDown();
  report_.note(fmt::format("threads: {} threads made {} calls in {} s, seed {}, and heard {} callbacks: {}", callers,
                           calls_.load(), options_.time.count(), options_.seed, heard_.load(), ledger_.summary()));
}

}  // namespace

void threads(const Options& options, Report& report) {
  ThreadsRun run(options, report);
  if (!run.start()) return;
  std::vector<std::thread> all;
  for (int i = 0; i < callers; ++i) all.emplace_back([&run, i] { run.call(i); });
  for (std::thread& thread : all) thread.join();
  run.judge();
}

}  // namespace trovix::torture
