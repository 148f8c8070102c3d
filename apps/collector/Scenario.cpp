#include "collector/Scenario.h"

#include <algorithm>

#include "collector/CollectorError.h"
#include "collector/Kinds.h"

namespace trovix::collector {
namespace {

constexpr std::string_view hostKey = "host:";

Error refused(const std::string& message) { return collectorError("scenario: " + message, collectorScenarioCode); }

bool isKey(std::string_view key) {
  return key == "*" || isKind(key) || (key.starts_with(hostKey) && key.size() > hostKey.size());
}

}  // namespace

Status Scenario::set(std::string_view key, const Array& answers) {
  if (!isKey(key)) return refused("\"" + std::string(key) + "\" is neither a kind, \"host:NAME\" nor \"*\"");
  Lists lists;
  for (const Value& value : answers) {
    auto answer = parseAnswer(value);
    if (!answer) return refused(std::string(key) + ": " + answer.error().localizedDescription());
    auto& list = answer->tls == CertificateFault::none ? lists.requests : lists.handshakes;
    list.push_back(std::move(answer).value());
  }
  lists_.insert_or_assign(std::string(key), std::move(lists));
  return success();
}

std::optional<Answer> Scenario::take(Answers& answers) {
  if (answers.empty()) return std::nullopt;
  Answer& front = answers.front();
  if (front.forever || --front.times > 0) return front;
  Answer last = std::move(front);
  answers.pop_front();
  return last;
}

std::optional<Answer> Scenario::next(std::string_view host, std::string_view kind) {
  for (const std::string& key : {std::string(hostKey).append(host), std::string(kind), std::string("*")}) {
    const auto found = lists_.find(key);
    if (found == lists_.end()) continue;
    if (auto answer = take(found->second.requests)) return answer;
  }
  return std::nullopt;
}

CertificateFault Scenario::nextCertificate(std::string_view host) {
  std::vector<std::string> keys{std::string(hostKey).append(host)};
  for (const std::string_view kind : kindsOnHost(host)) keys.emplace_back(kind);
  keys.emplace_back("*");
  for (const std::string& key : keys) {
    const auto found = lists_.find(key);
    if (found == lists_.end()) continue;
    if (const auto answer = take(found->second.handshakes)) return answer->tls;
  }
  return CertificateFault::none;
}

Reply replyOf(Answer answer, Reply healthy) {
  Reply& reply = answer.reply;
  if (!answer.hasBody && reply.status == 200) {
    reply.body = std::move(healthy.body);
    if (const std::string* type = findHeader(healthy.headers, "Content-Type");
        type != nullptr && findHeader(reply.headers, "Content-Type") == nullptr)
      reply.headers.emplace_back("Content-Type", *type);
  }
  for (const std::string& name : answer.removedHeaders) {
    std::erase_if(reply.headers, [&](const auto& header) { return equalIgnoringCase(header.first, name); });
    if (equalIgnoringCase(name, "Content-Length")) reply.automaticLength = false;
  }
  return std::move(reply);
}

}  // namespace trovix::collector
