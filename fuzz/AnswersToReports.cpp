// What a server may answer to launches, events and reports.
#include <set>

#include "core/TrovixLibParts.h"
#include "fuzz/Answers.h"
#include "storage/StorageKeys.h"
#include "trovix/TrovixShareInviteHelper.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::fuzz {
namespace {

using test::Answer;

constexpr const char* receiptPath = "/app/Shop.app/StoreKit/receipt";

std::size_t cachedCount(Application& application) { return application.sdk.parts().cache.cachedEvents().size(); }

/// Whatever could not be delivered is, with the next launch.
void checkNothingIsLeft(Application& application) {
  checkHealthy(application);
  require(cachedCount(application) == 0);
}

/// The values of that parameter in the JSON bodies that went to the address, one for each task.
std::vector<Value> reported(const test::SimulatedDevice& device, const char* address, const char* parameter) {
  std::vector<Value> values;
  std::set<std::uint64_t> tasks;
  for (const auto& request : device.network.requestsTo(address)) {
    const Dictionary body = request.json();
    // A redirect may lead something else there.
    const Value* value = body.find(parameter);
    if (value != nullptr && tasks.insert(request.taskIdentifier).second) values.push_back(*value);
  }
  return values;
}

}  // namespace

void checkHealthy(Application& application) {
  application.device.network.defaultAnswer = {};
  int delivered = 0;
  application.sdk.startWithCompletionHandler([&](const auto& data, const auto& error) {
    require(!error && *data == Dictionary{{"statusCode", 200}});
    ++delivered;
  });
  application.device.advance(longEnough);
  require(delivered == 1);
  // What has no JSON form goes out as a single byte.
  for (const auto& request : application.device.network.requests) {
    require(request.request.method != "POST" || request.body().size() > 1);
  }
}

void launch(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.network.defaultAnswer = answer;
  int heard = 0;
  application.sdk.startWithCompletionHandler([&](const auto& data, const auto&) {
    require(data.has_value());
    ++heard;
  });
  device.advance(longEnough);
  require(heard == 1);
  // The answer may have asked for the log, for a closing report, and for other links.
  device.network.defaultAnswer = {};
  device.notificationCenter.post(platform::application::didEnterBackground);
  device.advance(longEnough);
  for (const char* part : {"monitorsdk", "stats."}) {
    for (const auto& request : device.network.requestsTo(part)) require(platform::parseJson(request.body()));
  }
  int links = 0;
  TrovixShareInviteHelper::generateInviteUrlWithLinkGenerator({}, [&](const std::string& link) {
    require(platform::isValidUtf8(link));
    ++links;
  });
  device.advance(longEnough);
  require(links == 1);
  checkHealthy(application);
}

void inAppEvent(Application& application, const Answer& answer) {
  checkHealthy(application);
  application.device.network.defaultAnswer = answer;
  int heard = 0;
  bool isAnswered = false;
  application.sdk.logEventWithEventName("event", Dictionary{{"tx_price", 3.5}},
                                        [&](const auto& data, const auto& error) {
                                          const std::int64_t status = data->find("statusCode")->integerValue();
                                          require(error || status < 400 || status > 600);
                                          // Any status at all means that the server has it.
                                          isAnswered = !error || status != 0;
                                          ++heard;
                                        });
  application.device.advance(longEnough);
  require(heard == 1);
  require(!isAnswered || cachedCount(application) == 0);
  checkNothingIsLeft(application);
}

void purchaseEvent(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  checkHealthy(application);
  device.fileSystem.place(receiptPath, "RECEIPT");
  device.network.answer("//validate.", answer);
  application.sdk.validateAndLogInAppPurchase("shoes", "3", "USD", "T1", Dictionary{{"n", 1}}, {}, {});
  device.advance(longEnough);
  require(!device.network.requestsTo("//validate.").empty());
  device.network.answer("//validate.", {});
  checkNothingIsLeft(application);
}

void receipt(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.fileSystem.place(receiptPath, "RECEIPT");
  device.network.answer("validate-ios-receipt-server", answer);
  int heard = 0;
  application.sdk.validateAndLogInAppPurchase(
      "shoes", "3", "USD", "T1", {},
      [&](const Dictionary& response) {
        require(response.contains("transaction_id") && isJson(response));
        ++heard;
      },
      [&](const auto&, const auto&) { ++heard; });
  device.advance(longEnough);
  require(heard == 1);
}

void adRevenue(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  for (int i = 0; i < 2; ++i) {
    application.sdk.sendAdRevenueWithParameters({{"event_revenue", 1.5}, {"text", "a\xff"}});
    application.device.advance(longEnough);
  }
  require(reported(application.device, "//adrevenue.", "adrevenue_counter") == std::vector<Value>{1, 2});
  checkHealthy(application);
}

void uninstallToken(Application& application, const Answer& answer) {
  application.device.network.defaultAnswer = answer;
  // Whatever became of it, a token that did not change is not registered again.
  for (const Data& token : {Data{1, 2, 3}, Data{1, 2, 3}, Data{1, 2, 4}}) {
    application.sdk.registerUninstall(token);
    application.device.advance(longEnough);
  }
  require(reported(application.device, "//register.", "devicetoken") == std::vector<Value>{"010203", "010204"});
  checkHealthy(application);
}

void closingReports(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  device.network.defaultAnswer = {.body = R"({"monitor":1,"send_background":1})"};
  application.sdk.start();
  device.advance(longEnough);
  device.network.defaultAnswer = answer;
  device.notificationCenter.post(platform::application::didEnterBackground);
  device.advance(longEnough);
  require(reported(device, "//stats.", "statType") == std::vector<Value>{"user_closed_app"});
  require(reported(device, "//monitorsdk.", "data").size() == 1);
  checkHealthy(application);
}

void searchAds(Application& application, const Answer& answer) {
  test::SimulatedDevice& device = application.device;
  const auto details = platform::parseJson(answer.body);
  const bool hasDetails = details && details->dictionary() != nullptr;
  const Error error("ADClientErrorDomain", static_cast<std::int64_t>(answer.body.size() % 9));
  device.frameworks.searchAds.answers = {hasDetails ? Result<Dictionary>(*details->dictionary()) : error};
  device.frameworks.tokens.token = hasDetails ? Result<std::string>(error) : answer.body;
  device.network.defaultAnswer = {};
  device.network.answer("//attr.", answer);
  application.sdk.setDisableCollectASA(false);
  application.sdk.start();
  device.advance(longEnough);
  const auto kept = application.sdk.parts().storage->dictionaryForKey(storageKey::searchAdsAttribution);
  require(device.network.requestsTo("//attr.").empty() == !kept);
  device.network.answer("//attr.", {});
  checkNothingIsLeft(application);
}

}  // namespace trovix::fuzz
