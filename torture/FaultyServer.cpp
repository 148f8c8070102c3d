#include "torture/FaultyServer.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace trovix::torture::faults {
namespace {

constexpr std::string_view hostPrefix = "host:";

Dictionary always(Dictionary answer) {
  answer.set("forever", true);
  return answer;
}

Dictionary scenarioOf(const Endpoint& endpoint) {
  Dictionary scenario = endpoint.scenario;
  const std::string circle(circleHost);
  scenario.set(std::string(hostPrefix) + circle, Array{always({{"redirect", "https://" + circle + "/"}})});
  return scenario;
}

}  // namespace

FaultyServer::FaultyServer(const Endpoint& endpoint, const std::string& authorityDirectory)
    : endpoint_(endpoint),
      collector_({.devKey = developerKey, .scenario = scenarioOf(endpoint), .tlsDirectory = authorityDirectory}) {
  note(collector_.start());
  address_ = collector_.address();
  heal();
}

void FaultyServer::note(const Status& status) {
  if (!status) trouble_ = status.error().localizedDescription();
}

void FaultyServer::fail(const Fault& fault) {
  collector_.clearRequests();
  Dictionary answer = fault.answer;
  switch (fault.reach) {
    case Fault::Reach::request:
      // The healthy answer, late, where the stand-in's own is not the healthy one.
      if (fault.effect == Effect::healthy) answer.merge(endpoint_.healthy);
      [[fallthrough]];
    case Fault::Reach::handshake:
      return note(collector_.setScenario(endpoint_.key, {always(std::move(answer))}));
    case Fault::Reach::absence:
      return collector_.stop();
    case Fault::Reach::plainText:
      collector_.stop();
      plainTwin_ =
          std::make_unique<collector::Collector>(collector::Collector::Options{.listen = address_, .plain = true});
      return note(plainTwin_->start());
  }
}

void FaultyServer::heal() {
  plainTwin_.reset();
  note(collector_.start());
  note(collector_.setScenario(endpoint_.key, endpoint_.healthy.empty() ? Array() : Array{always(endpoint_.healthy)}));
  collector_.clearRequests();
}

std::size_t FaultyServer::received() const {
  const std::string_view key = endpoint_.key;
  if (!key.starts_with(hostPrefix)) return collector_.requestsOfKind(key).size();
  const auto requests = collector_.requestsOfKind("Other");
  return static_cast<std::size_t>(std::ranges::count_if(requests, [&](const Dictionary& request) {
    const std::string* host = request.string("host");
    return host != nullptr && *host == key.substr(hostPrefix.size());
  }));
}

bool FaultyServer::receives(std::chrono::seconds limit) const {
  const bool isHost = std::string_view(endpoint_.key).starts_with(hostPrefix);
  return collector_.waitForRequests(isHost ? "Other" : endpoint_.key, 1, limit);
}

}  // namespace trovix::torture::faults
