#include "core/TrovixLibFixture.h"

namespace trovix::test {

using Text = std::optional<std::string>;

constexpr const char* receiptPath = "/app/Shop.app/StoreKit/receipt";

struct PurchasesTest : TrovixLibFixture {
  PurchasesTest() {
    device->network.answer("skadsdk.", Answer{.body = R"({"sk_rules": {"ex": 10, "di": 3}})"});
    makeSdk();
    sdk->setDisableSKAdNetwork(false);
    device->notificationCenter.post(platform::application::didFinishLaunching);
    device->fileSystem.place(receiptPath, "RECEIPT");
    device->runUntilIdle();
  }
  void purchase(const Text& price = "1.00", const Text& product = "shoes", const Text& transaction = "T1",
                const std::optional<Dictionary>& additional = std::nullopt) {
    sdk->validateAndLogInAppPurchase(
        product, price, std::nullopt, transaction, additional,
        [this](const Dictionary& response) { accepted.push_back(response); },
        [this](const std::optional<Error>& error, const std::optional<Value>& response) {
          refused.emplace_back(error, response);
        });
    device->runUntilIdle();
  }

  std::vector<Dictionary> accepted;
  std::vector<std::pair<std::optional<Error>, std::optional<Value>>> refused;
};

TEST_F(PurchasesTest, RefusesEarlyOnTheMainQueueAndSendsNothing) {
  start();
  device->network.requests.clear();
  const std::string noIds = "validateInAppPurchase cannot contain `productIdentifier` or `transactionId` as nil";
  const std::tuple<Text, Text, bool, std::string> cases[] = {
      {"shoes", std::nullopt, false, noIds},
      {std::nullopt, "T1", false, noIds},
      {"shoes", "T1", false, "validateInAppPurchase couldn't get store receipt. Event has'n been sent"},
      {std::nullopt, "T1", true, "`isStopped` enabled. Event hasn't been sent"}};
  ASSERT_TRUE(device->fileSystem.remove(receiptPath));
  for (const auto& [product, transaction, stopped, message] : cases) {
    sdk->setIsStopped(stopped);
    refused.clear();
    device->queues.setMainQueueServed(false);
    purchase("1", product, transaction);
    EXPECT_THAT(refused, IsEmpty()) << "before the host serves its main queue";
    device->queues.setMainQueueServed(true);
    device->runUntilIdle();
    ASSERT_THAT(refused, SizeIs(1)) << message;
    EXPECT_EQ(refused[0].first->localizedDescription(), message);
    EXPECT_EQ(refused[0].first->domain(), "example.trovix.sdk.purchasevalidation");
  }
  EXPECT_THAT(device->network.requests, IsEmpty());
}

TEST_F(PurchasesTest, SendsTheEventAndTheReceipt) {
  purchase("1.00", "shoes", "T1", Dictionary{{"size", 42}});
  start();
  purchase(std::nullopt, "hat", "T2");
  const auto events = sent("validate.");
  ASSERT_THAT(events, SizeIs(2));
  const Dictionary own = *dictionaryFromJson(R"({"event": "tx_purchase", "eventName": "tx_purchase",
      "is_sandbox": "false", "price": "1.00", "currency": "", "apple_tran_id": "T1", "product_identifier": "shoes",
      "receipt_data": {"data": {"receipt-data": "UkVDRUlQVA=="}}, "extra_prms": {"size": 42}, "sk_upcv": 4,
      "advertiserId": "7D3E5B21-90AC-4F6E-B1D8-0A4C9E6F2357", "advertiserIdEnabled": true, "att_status": 3})");
  Dictionary found = events[0].body;
  found.removeIf([&](const Dictionary::Entry& entry) { return !own.contains(entry.first); });
  EXPECT_TRUE(std::equal(found.begin(), found.end(), own.begin(), own.end())) << description(found);
  EXPECT_EQ(events[1].text("sk_upcv"), "(missing)");
  const auto validations = device->network.requestsTo("sdk-services.");
  ASSERT_THAT(validations, SizeIs(2));
  const std::string URL =
      "https://sdk-services.trovix.example/validate-ios-receipt-server?app_id=1234567890&trovix_id=" +
      sdk->getTrovixUID() + "&dev_key=AbCdEfGhIjKlMn&sandbox=false&tran_id=";
  EXPECT_EQ(validations[0].url(), URL + "T1&JBDevice=false") << "no launch has read the identifier yet";
  EXPECT_EQ(validations[1].url(), URL + "T2&JBDevice=false&advertisingId=7D3E5B21-90AC-4F6E-B1D8-0A4C9E6F2357");
  EXPECT_EQ(validations[0].json(), (Dictionary{{"receipt-data", "UkVDRUlQVA=="}}));
}

TEST_F(PurchasesTest, TellsTheVerdictAndSendsTheEventWhateverItIs) {
  start();
  const std::tuple<const char*, Answer, bool, bool, bool> cases[] = {
      {"accepted", {.body = R"({"transaction_id": "T1"})"}, true, false, false},
      {"refused by its content", {.body = R"({"other": 1})"}, false, false, true},
      {"not retried", {.status = 503, .body = "{}"}, false, false, true},
      {"garbage", {.body = "<html>"}, false, true, false},
      {"no connection", Answer::failure(-1004), false, true, false}};
  std::size_t events = 0;
  for (const auto& [about, answer, isAccepted, hasError, hasResponse] : cases) {
    SCOPED_TRACE(about);
    accepted.clear();
    refused.clear();
    device->network.answer("sdk-services.", answer);
    purchase();
    EXPECT_THAT(device->network.requestsTo("validate."), SizeIs(++events));
    EXPECT_THAT(device->network.requestsTo("sdk-services."), SizeIs(events));
    EXPECT_THAT(accepted, SizeIs(isAccepted ? 1 : 0));
    ASSERT_THAT(refused, SizeIs(isAccepted ? 0 : 1));
    EXPECT_TRUE(isAccepted || refused[0].first.has_value() == hasError);
    EXPECT_TRUE(isAccepted || refused[0].second.has_value() == hasResponse);
  }
}

TEST_F(PurchasesTest, NumbersAdRevenueAcrossLaunchesAndWithoutAConnection) {
  networkDown();
  for (const std::int64_t counter : {1, 2}) {
    sdk->sendAdRevenueWithParameters({{"revenue", 0.5}});
    device->runUntilIdle();
    const auto reports = device->network.requestsTo("adrevenue.");
    ASSERT_THAT(reports, SizeIs(1)) << "nothing is retried";
    EXPECT_EQ(reports[0].url(), "https://adrevenue.trovix.example/api/v6.2/ios?app_id=1234567890&buildnumber=6.2.2");
    EXPECT_EQ(*reports[0].json().find("adrevenue_counter"), Value(counter));
    EXPECT_EQ(*reports[0].json().find("ad_network"), Value(Dictionary{{"revenue", 0.5}}));
    restart();
  }
}

}  // namespace trovix::test
