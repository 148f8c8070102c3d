#include "core/TrovixLibFixture.h"

#include "collector/Checks.h"
#include "trovix/Json.h"

namespace trovix::test {

void TrovixLibFixture::beginProcess() {
  sdk.reset();
  device.reset();
  device = std::make_unique<SimulatedDevice>(disk);
  networkUp();
}

void TrovixLibFixture::makeSdk() {
  sdk = std::make_unique<TrovixLib>(*device);
  sdk->setDisableSKAdNetwork(true);
  sdk->setTrovixDevKey(developerKey);
  sdk->setAppleAppID(Value("1234567890"));
  sdk->setDisableCollectASA(true);
  delegate = std::make_shared<TrovixLibDelegate>();
  delegate->onConversionDataSuccess = [this](const Dictionary& data) { successes.push_back(data); };
  delegate->onConversionDataFail = [this](const Error& error) { failures.push_back(error); };
  sdk->setDelegate(delegate);
  device->runUntilIdle();
}

TrovixLib::Completion TrovixLibFixture::recordInto(const std::shared_ptr<std::vector<Outcome>>& outcomes) {
  return [outcomes](const std::optional<Dictionary>& data, const std::optional<Error>& error) {
    outcomes->push_back({data, error});
  };
}

std::shared_ptr<std::vector<Outcome>> TrovixLibFixture::start() {
  auto outcomes = std::make_shared<std::vector<Outcome>>();
  sdk->startWithCompletionHandler(recordInto(outcomes));
  device->runUntilIdle();
  return outcomes;
}

std::shared_ptr<std::vector<Outcome>> TrovixLibFixture::log(const std::string& name, std::optional<Dictionary> values) {
  auto outcomes = std::make_shared<std::vector<Outcome>>();
  sdk->logEventWithEventName(name, std::move(values), recordInto(outcomes));
  device->advance(0.4);
  return outcomes;
}

std::vector<SentEvent> TrovixLibFixture::sent(std::string_view urlPart) const {
  static const auto key = collector::deriveBodyKey(developerKey);
  std::vector<SentEvent> events;
  for (const RecordedRequest& request : device->network.requestsTo(urlPart)) {
    const auto body = dictionaryFromJson(collector::openBody(request.body(), *key).value_or(""));
    events.push_back({request.url(), body.value_or(Dictionary())});
  }
  return events;
}

SentEvent TrovixLibFixture::lastSent(std::string_view urlPart) const {
  const auto events = sent(urlPart);
  if (!events.empty()) return events.back();
  ADD_FAILURE() << "nothing was sent to " << urlPart;
  return {};
}

}  // namespace trovix::test
