// Addresses that a test tool puts in place of the SDK's own. Whatever they are, requests end, addresses stay bounded,
// and with sound addresses everything is as it was.
#include "fuzz/Support.h"
#include "network/Endpoints.h"
#include "trovix/TrovixShareInviteHelper.h"
#include "trovix/platform/NotificationCenter.h"

namespace {

using namespace trovix;
using fuzz::require;

/// What overrides call the kinds of address, in the order of Endpoint.
constexpr const char* everyKind[endpointCount] = {
    "Launches",          "Conversions", "Attr",        "InApps",
    "AdRevenue",         "GCD",         "RemoteDebug", "ReceiptValidationInApp",
    "ReceiptValidation", "Uninstall",   "Stats",       "Impression",
    "VeyraGet",          "VeyraCreate", "DDL",         "SKRules",
    "SKConversionValue"};

Dictionary templatesInForce() {
  Dictionary templates;
  for (std::size_t i = 0; i < endpointCount; ++i) {
    templates.set(everyKind[i], endpointTemplate(static_cast<Endpoint>(i)));
  }
  return templates;
}

std::size_t longest(const Dictionary& templates) {
  std::size_t length = 0;
  for (const auto& [kind, text] : templates) length = std::max(length, text.string()->size());
  return length;
}

void useEverything(fuzz::Application& application) {
  test::SimulatedDevice& device = application.device;
  TrovixLib& sdk = application.sdk;
  device.network.defaultAnswer = {.body = R"({"monitor":1,"send_background":1})"};
  const auto delegate = std::make_shared<TrovixLibDelegate>();
  int verdicts = 0, launches = 0, links = 0, opened = 0;
  delegate->onConversionDataSuccess = [&](const Dictionary&) { ++verdicts; };
  delegate->onConversionDataFail = [&](const Error&) { ++verdicts; };
  delegate->onAppOpenAttribution = [&](const Dictionary&) { ++opened; };
  delegate->onAppOpenAttributionFailure = [&](const Error&) { ++opened; };
  const auto deepLinkDelegate = std::make_shared<TrovixDeepLinkDelegate>();
  sdk.setDelegate(delegate);
  sdk.setDeepLinkDelegate(deepLinkDelegate);
  device.notificationCenter.post(platform::application::didFinishLaunching);
  sdk.startWithCompletionHandler([&](const auto&, const auto&) { ++launches; });
  sdk.registerUninstall({1, 2, 3});
  sdk.sendAdRevenueWithParameters({{"event_revenue", 1}});
  sdk.performOnAppAttributionWithURL("https://vy.trovix.example/abcd/efgh");
  TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator({}, [&](const std::string&) { ++links; });
  device.advance(fuzz::longEnough);
  require(launches == 1 && links == 1 && opened == 1 && verdicts == 1);
  device.notificationCenter.post(platform::application::didEnterBackground);
  device.advance(fuzz::longEnough);
}

void checkHealthy(fuzz::Application& application) {
  int delivered = 0;
  application.sdk.logEventWithEventName("event", {}, [&](const auto& data, const auto& error) {
    require(!error && *data == Dictionary{{"statusCode", 200}});
    ++delivered;
  });
  application.device.advance(fuzz::longEnough);
  require(delivered == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const Dictionary defaults = templatesInForce();
  const auto json = platform::parseJson(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (!json || json->dictionary() == nullptr) return 0;
  setURLComparisonEnabled();

  fuzz::Application application;
  application.device.notificationCenter.post("TrovixArguments.URLs", *json->dictionary());
  const Dictionary templates = templatesInForce();
  for (const auto& [kind, text] : templates) {
    const std::string* given = json->dictionary()->string(kind);
    require(*text.string() == (given != nullptr ? *given : *defaults.string(kind)));
  }
  useEverything(application);
  // A place takes two bytes and gives at most a short value; an escape triples a byte.
  const std::size_t most = 9 * longest(templates) + 4096;
  for (const test::RecordedRequest& request : application.device.network.requests)
    require(request.url().size() <= most);
  TXSDKUpdateURLs(defaults);
  checkHealthy(application);
  return 0;
}
