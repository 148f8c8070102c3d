#include "torture/Ledger.h"

#include <fmt/core.h>

#include <algorithm>

#include "common/TXSDKError.h"

namespace trovix::torture {
namespace {

using platform::MutexLock;

constexpr std::int64_t stoppedCode = 11;

}  // namespace

std::string Ledger::newEvent() {
  const MutexLock lock(mutex_);
  std::string name = fmt::format("event-{}", events_.size());
  events_.emplace(name, Event());
  return name;
}

void Ledger::didComplete(const std::string& name, const std::optional<Error>& error) {
  const MutexLock lock(mutex_);
  Event& event = events_[name];
  ++event.completions;
  ++completed_;
  event.isRefused = error && error->domain() == TXSDKEventErrorDomain && error->code() == stoppedCode;
}

void Ledger::didAccept(const std::string& uuid) {
  const MutexLock lock(mutex_);
  accepted_.insert(uuid.substr(uuid.rfind('-') + 1));
}

void Ledger::didReceive(const Dictionary& request) {
  const std::string* kind = request.string("kind");
  const bool isCounted =
      kind != nullptr && (*kind == "InApps" || *kind == "Launches" || *kind == "Conversions" || *kind == "Attr");
  const Dictionary* parameters = request.dictionary("parameters");
  const MutexLock lock(mutex_);
  ++requests_;
  if (!isCounted) return;
  const std::string* name = parameters != nullptr ? parameters->string("eventName") : nullptr;
  const std::string* stamp = parameters != nullptr ? parameters->string("timestamp") : nullptr;
  if (name == nullptr || stamp == nullptr) {
    ++unreadable_;
    return;
  }
  stamps_.insert(*stamp);
  if (const auto found = events_.find(*name); found != events_.end()) found->second.isReceived = true;
}

std::int64_t Ledger::underWay() const {
  const MutexLock lock(mutex_);
  return static_cast<std::int64_t>(events_.size()) - completed_;
}

std::int64_t Ledger::completed() const {
  const MutexLock lock(mutex_);
  return completed_;
}

void Ledger::judge(Report& report) const {
  const MutexLock lock(mutex_);
  std::size_t lost = 0, unanswered = 0;
  for (const auto& [name, event] : events_) {
    // The server is there all the time: nothing is tried twice, so nothing is told twice.
    if (event.completions != 1) ++unanswered;
    if (!event.isRefused && !event.isReceived) ++lost;
  }
  std::size_t notReceived = 0;
  for (const std::string& stamp : accepted_) notReceived += stamps_.contains(stamp) ? 0 : 1;
  report.expect(lost == 0, fmt::format("threads: {} of {} events never came", lost, events_.size()));
  report.expect(notReceived == 0,
                fmt::format("threads: {} of {} accepted events are lost", notReceived, accepted_.size()));
  report.expect(unanswered == 0, fmt::format("threads: {} completions were not called once", unanswered));
  report.expect(unreadable_ == 0, fmt::format("threads: {} bodies did not decrypt", unreadable_));
  report.expect(events_.size() > 100 && !accepted_.empty(), "threads: too few events to tell anything");
}

std::string Ledger::summary() const {
  const MutexLock lock(mutex_);
  const auto refused = std::ranges::count_if(events_, [](const auto& entry) { return entry.second.isRefused; });
  return fmt::format(
      "{} events, {} of them refused while stopped, the others received; {} accepted into the cache; {} "
      "requests of all kinds",
      events_.size(), refused, accepted_.size(), requests_);
}

}  // namespace trovix::torture
