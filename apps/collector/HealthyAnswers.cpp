#include "collector/HealthyAnswers.h"

#include <array>
#include <utility>

#include "platform/Json.h"

namespace trovix::collector {
namespace {

using Body = Dictionary (*)(const Destination&, const Address&);

Dictionary linkConfiguration(const Destination& destination, const Address&) {
  return {{"vy_domain", "vy." + destination.domain}, {"vy_ver", "1"}};
}

Dictionary conversionData(const Destination&, const Address&) {
  return {{"tx_status", "Non-organic"},
          {"tx_message", nullptr},
          {"media_source", "demo_network"},
          {"campaign", "spring_sale"},
          {"campaign_id", "4711"},
          {"adset", "shoes"},
          {"click_time", "2026-03-01 11:58:03.214"},
          {"install_time", "2026-03-01 12:04:41.093"},
          {"iscache", false}};
}

Dictionary receipt(const Destination&, const Address& address) {
  return {{"transaction_id", address.item("tran_id").value_or("")},
          {"is_sandbox", address.item("sandbox") == "true"},
          {"receipt_valid", true}};
}

Dictionary linkFields(const Destination&, const Address& address) {
  return {{"pid", "demo_network"},
          {"c", "spring_sale"},
          {"deep_link_value", "shoes"},
          {"tx_sub1", address.item("id").value_or("")},
          {"link_type", "short"}};
}

Dictionary deferredDeepLink(const Destination&, const Address&) {
  return {{"found", true},
          {"click_event", Dictionary{{"timestamp", "2026-03-01T11:58:03.214"},
                                     {"media_source", "demo_network"},
                                     {"campaign", "spring_sale"},
                                     {"campaign_id", "4711"},
                                     {"match_type", "probabilistic"},
                                     {"deep_link_value", "shoes"},
                                     {"click_http_referrer", "https://news.example/shoes"},
                                     {"tx_sub1", "size-42"},
                                     {"custom_params", Dictionary{{"voucher", "SPRING10"}}}}}};
}

Dictionary conversionRule(const Destination&, const Address&) {
  return {
      {"sk_rules",
       Dictionary{{"wi", 24}, {"ms", 1}, {"ev", Array{"tx_purchase", "tx_complete_registration", "tx_add_to_cart"}}}}};
}

Dictionary conversionValue(const Destination&, const Address&) { return {{"value", 7}}; }

Dictionary nothingToSay(const Destination&, const Address&) { return {}; }

constexpr std::array<std::pair<std::string_view, Body>, 11> bodies{{
    {"Launches", linkConfiguration},
    {"Conversions", linkConfiguration},
    {"Attr", linkConfiguration},
    {"InApps", linkConfiguration},
    {"ReceiptValidationInApp", linkConfiguration},
    {"GCD", conversionData},
    {"ReceiptValidation", receipt},
    {"VeyraGet", linkFields},
    {"DDL", deferredDeepLink},
    {"SKRules", conversionRule},
    {"SKConversionValue", conversionValue},
}};

Body bodyOf(std::string_view kind) {
  for (const auto& [name, body] : bodies)
    if (name == kind) return body;
  return nothingToSay;
}

}  // namespace

std::string HealthyAnswers::shortLink(const Destination& destination, const Address& address, const Value* parameters) {
  const Dictionary* dictionary = parameters != nullptr ? parameters->dictionary() : nullptr;
  const std::string* brand = dictionary != nullptr ? dictionary->string("brand_domain") : nullptr;
  const std::string domain = brand != nullptr && !brand->empty() ? *brand : "vy." + destination.domain;
  const std::string linkID = address.path.substr(address.path.rfind('/') + 1);
  return "https://" + domain + "/" + linkID + "/demo" + std::to_string(++shortLinks_);
}

Reply HealthyAnswers::answer(const Destination& destination, const Address& address, const Value* parameters) {
  const std::string_view kind = destination.kind;
  if (kind == "VeyraCreate")
    return {.headers = {{"Content-Type", "text/plain; charset=utf-8"}},
            .body = shortLink(destination, address, parameters)};
  auto json = platform::writeJson(bodyOf(kind)(destination, address));
  return {.headers = {{"Content-Type", "application/json"}}, .body = json ? std::move(json).value() : std::string()};
}

}  // namespace trovix::collector
