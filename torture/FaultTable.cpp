#include "torture/FaultTable.h"

#include <string>
#include <string_view>

namespace trovix::torture::faults {
namespace {

using Reach = Fault::Reach;

constexpr std::int64_t answerSize = 4000;
constexpr std::string_view answerHead =
    "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: 4000\r\n\r\n";

Dictionary cutAfter(const char* how, std::int64_t bytes) {
  return {{"bodySize", answerSize}, {how, Dictionary{{"after", bytes}}}};
}

Dictionary jsonText(std::string text) {
  return {{"headers", Dictionary{{"Content-Type", "application/json"}}}, {"body", std::move(text)}};
}

Dictionary refusal(int status) {
  return {{"status", status}, {"body", Dictionary{{"error_reason", "refused"}, {"status_code", status}}}};
}

// The names are those that the endpoints' healthy answers have.
Dictionary valuesOfOtherTypes() {
  return {{"vy_domain", 5},
          {"vy_scheme", nullptr},
          {"vy_ver", Array{1, 2}},
          {"monitor", Dictionary{{"on", true}}},
          {"send_background", Array{1}},
          {"tx_status", 5},
          {"tx_message", Array{}},
          {"iscache", "perhaps"},
          {"error_reason", Dictionary{}},
          {"found", Dictionary{{"yes", true}}},
          {"click_event", 7},
          {"sk_rules", Array{1}},
          {"value", Dictionary{{"a", 1}}},
          {"deep_link_value", Array{"shoes"}}};
}

std::vector<Fault> cutOff() {
  const auto head = static_cast<std::int64_t>(answerHead.size());
  return {
      {"hung up before the headers", Effect::lost, Reach::request, {{"close", "beforeHeaders"}}},
      {"hung up within the body", Effect::lost, Reach::request, cutAfter("close", head + 1000)},
      {"reset before the headers", Effect::lost, Reach::request, {{"reset", "beforeHeaders"}}},
      {"reset within the headers", Effect::lost, Reach::request, cutAfter("reset", head / 2)},
      {"reset after the headers", Effect::lost, Reach::request, cutAfter("reset", head)},
      {"reset within the body", Effect::lost, Reach::request, cutAfter("reset", head + 1000)},
      {"hung up after the body", Effect::garbled, Reach::request, cutAfter("close", head + answerSize)},
  };
}

std::vector<Fault> notWhatItSays() {
  return {
      {"refused", Effect::lost, Reach::absence},
      {"no TLS", Effect::lost, Reach::plainText},
      {"expired certificate", Effect::lost, Reach::handshake, {{"tls", "expired"}}},
      {"certificate of another host", Effect::lost, Reach::handshake, {{"tls", "wrongHost"}}},
      {"unknown authority", Effect::lost, Reach::handshake, {{"tls", "unknownAuthority"}}},
  };
}

std::vector<Fault> answers() {
  const std::string circle = std::string("https://") + circleHost + "/";
  const Dictionary page{{"headers", Dictionary{{"Content-Type", "text/html"}}},
                        {"body", "<html><body>Please log in</body></html>"}};
  Dictionary notFound = page;
  notFound.set("status", 404);
  return {
      {"redirects in a circle", Effect::lost, Reach::request, {{"redirect", circle}}},
      {"404", Effect::missing, Reach::request, notFound},
      {"403", Effect::refused, Reach::request, refusal(403)},
      {"500", Effect::refused, Reach::request, refusal(500)},
      {"503", Effect::refused, Reach::request, refusal(503)},
      {"no HTTP", Effect::lost, Reach::request, {{"raw", "\x01\x02 220 mail.example ESMTP\r\n\r\n"}}},
      {"a header without end",
       Effect::lost,
       Reach::request,
       {{"headers", Dictionary{{"X-Filler", std::string(1 << 20, 'x')}}}}},
      {"a body without end", Effect::lost, Reach::request, {{"bodySize", std::int64_t{1} << 40}}},
      {"HTML", Effect::garbled, Reach::request, page},
      {"an empty 200", Effect::garbled, Reach::request, jsonText("")},
      {"truncated JSON", Effect::garbled, Reach::request, jsonText(R"({"vy_domain": "vy.example.test", "monit)")},
      {"deep JSON", Effect::garbled, Reach::request, jsonText(std::string(200'000, '['))},
      {"bytes that are no text", Effect::garbled, Reach::request, {{"bodyBase64", "/wCA/v8="}}},
      {"values of other types", Effect::odd, Reach::request, {{"body", valuesOfOtherTypes()}}},
      {"a list", Effect::list, Reach::request, {{"body", Array{1, "two", nullptr}}}},
  };
}

std::vector<Fault> slow() {
  return {
      {"slow drip", Effect::healthy, Reach::request, {{"drip", 2000}}},
      {"no answer", Effect::lost, Reach::request, {{"delay", 3600}}, true},
      {"no answer for a minute", Effect::lost, Reach::request, {{"delay", 3600}}, false, true},
      {"a drip without end", Effect::lost, Reach::request, {{"bodySize", answerSize}, {"drip", 5}}, false, true},
  };
}

}  // namespace

const std::vector<Fault>& everyFault() {
  static const std::vector<Fault> all = [] {
    std::vector<Fault> faults;
    for (auto group : {notWhatItSays(), cutOff(), answers(), slow()})
      faults.insert(faults.end(), group.begin(), group.end());
    return faults;
  }();
  return all;
}

}  // namespace trovix::torture::faults
