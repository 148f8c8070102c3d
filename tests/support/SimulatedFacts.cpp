#include "support/SimulatedFacts.h"

#include <algorithm>

#include "support/SimulatedFrameworks.h"

namespace trovix::test {

std::unique_ptr<platform::NotificationCenter::Registration> SimulatedNotificationCenter::addObserver(
    std::string_view name, Handler handler) {
  struct Removal final : Registration {
    std::shared_ptr<void> whenItGoes;
  };
  auto removal = std::make_unique<Removal>();
  removal->whenItGoes.reset(this, [all = observers_, own = ++last_](void*) { all->erase(own); });
  observers_->emplace(last_, std::make_shared<const Observer>(Observer{std::string(name), std::move(handler)}));
  return removal;
}

void SimulatedNotificationCenter::post(const platform::Notification& notification) {
  const Observers present = *observers_;
  for (const auto& [identity, observer] : present) {
    if (observer->name == notification.name && observers_->contains(identity)) observer->handler(notification);
  }
}

std::size_t SimulatedNotificationCenter::observerCount(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(observers_->begin(), observers_->end(),
                                                [&](const auto& entry) { return entry.second->name == name; }));
}

void SimulatedADClient::requestAttributionDetails(std::function<void(Result<Dictionary>)> completion) {
  ++requestCount;
  Result<Dictionary> answer = answers.front();
  if (answers.size() > 1) answers.pop_front();
  queues_.globalQueue().post([completion = std::move(completion), answer = std::move(answer)] { completion(answer); });
}

bool SimulatedFrameworks::open(const std::string& path) {
  opened.push_back(path);
  return !missing.contains(path.substr(path.rfind('/') + 1));
}

}  // namespace trovix::test
