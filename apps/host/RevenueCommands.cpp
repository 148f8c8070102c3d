#include <charconv>

#include "host/CommandArguments.h"
#include "host/Session.h"

namespace trovix::host {
namespace {

/// The bytes that pairs of hexadecimal digits stand for, or nothing.
std::optional<Data> bytesFromHex(const std::string& text) {
  if (text.size() % 2 != 0) return std::nullopt;
  Data bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    std::uint8_t byte = 0;
    const char* const end = text.data() + i + 2;
    if (std::from_chars(text.data() + i, end, byte, 16).ptr != end) return std::nullopt;
    bytes.push_back(byte);
  }
  return bytes;
}

std::optional<std::string> checkHex(const Arguments& arguments) {
  if (bytesFromHex(textOf(arguments[0]))) return std::nullopt;
  return "not hexadecimal: " + textOf(arguments[0]);
}

/// A search path is an array of keys.
std::optional<std::string> checkPath(const Arguments& arguments) {
  if (arguments[0]->isNull()) return std::nullopt;
  if (arguments[0]->array() == nullptr) return "the JSON must be an array of keys";
  for (const Value& key : *arguments[0]->array()) {
    if (key.string() == nullptr) return "the JSON must be an array of keys";
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> pathOf(const Value& value) {
  if (value.array() == nullptr) return std::nullopt;
  std::vector<std::string> path;
  for (const Value& key : *value.array()) path.push_back(description(key));
  return path;
}

void purchase(Session& session, const Dictionary& fields) {
  Output& output = session.output();
  session.sdk().validateAndLogInAppPurchase(
      textAt(fields, "product"), textAt(fields, "price"), textAt(fields, "currency"), textAt(fields, "transaction"),
      dictionaryAt(fields, "parameters"),
      [&output](const Dictionary& response) {
        output.line("purchaseSuccess", {{"data", response}});
      },
      [&output](const std::optional<Error>& error, const std::optional<Value>& response) {
        Dictionary line;
        if (error) line.set("error", errorFields(*error));
        line.setIfPresent("data", response);
        output.line("purchaseFailure", line);
      });
}

}  // namespace

std::vector<Command> revenueCommands() {
  const std::vector<Argument> object{{Kind::json, true, "JSON"}};
  return {
      {"purchase", "reports a purchase and has it validated", object, objectAt(0),
       [](Session& session, const Arguments& arguments) { purchase(session, dictionaryOf(arguments[0])); }},
      {"ad-revenue", "reports impression revenue", object, objectAt(0),
       [](Session& session, const Arguments& arguments) {
         session.sdk().sendAdRevenueWithParameters(dictionaryOf(arguments[0]));
       }},
      {"partner",
       "attaches data for a partner",
       {{Kind::name, true, "ID"}, {Kind::json, true, "JSON"}},
       objectAt(1),
       [](Session& session, const Arguments& arguments) {
         session.sdk().setPartnerDataWithPartnerId(optionalText(arguments[0]), optionalDictionary(arguments[1]));
       }},
      {"location",
       "logs a location",
       {{Kind::number, true, "LONG"}, {Kind::number, true, "LAT"}},
       {},
       [](Session& session, const Arguments& arguments) {
         session.sdk().logLocation(arguments[0]->doubleValue(), arguments[1]->doubleValue());
       }},
      {"push", "hands over a push payload", object, objectAt(0),
       [](Session& session, const Arguments& arguments) {
         session.sdk().handlePushNotification(dictionaryOf(arguments[0]));
       }},
      {"push-path", "adds a search path for links in push payloads", object, checkPath,
       [](Session& session, const Arguments& arguments) {
         session.sdk().addPushNotificationDeepLinkPath(pathOf(*arguments[0]));
       }},
      {"uninstall-token",
       "registers the push token",
       {{Kind::word, true, "HEX"}},
       checkHex,
       [](Session& session, const Arguments& arguments) {
         session.sdk().registerUninstall(*bytesFromHex(textOf(arguments[0])));
       }},
  };
}

}  // namespace trovix::host
