#include <array>
#include <atomic>
#include <memory>
#include <utility>

#include "device/TXSDKiAdClient.h"
#include "trovix/platform/Frameworks.h"

namespace trovix {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds firstAttemptDelay = 750ms;
constexpr std::chrono::nanoseconds retryDelay = 2s;

constexpr std::int64_t tokenDisabled = -1;
constexpr std::int64_t tokenOldPlatform = -2;
constexpr std::int64_t tokenNoClass = -3;

const char* errorName(std::optional<std::int64_t> code) {
  constexpr std::array names{"ADClientErrorUnknown",
                             "ADClientErrorTrackingRestrictedOrDenied",
                             "ADClientErrorMissingData",
                             "ADClientErrorCorruptResponse",
                             "ADClientErrorRequestClientError",
                             "ADClientErrorRequestServerError",
                             "ADClientErrorRequestNetworkError",
                             "ADClientErrorUnsupportedPlatform"};
  if (!code || *code < 0 || *code >= static_cast<std::int64_t>(names.size())) return "Unexpected";
  return names[static_cast<std::size_t>(*code)];
}

bool isWorthRetrying(std::int64_t code) { return code == 0 || (code >= 2 && code <= 6); }

}  // namespace

void TXSDKiAdClient::requestAttributionDetails(DetailsHandler completion) {
  if (!completion) return;
  continueAttempts(AttemptSequence{.attemptsLeft = 4, .lastCode = std::nullopt, .completion = std::move(completion)});
}

void TXSDKiAdClient::continueAttempts(AttemptSequence sequence) {
  if (sequence.attemptsLeft == 0) {
    sequence.completion(Dictionary{{"error", errorName(sequence.lastCode)}});
    return;
  }
  const std::chrono::nanoseconds delay = sequence.lastCode ? retryDelay : firstAttemptDelay;
  const std::uint64_t due = clock_.monotonicNanoseconds() + static_cast<std::uint64_t>(delay.count());
  --sequence.attemptsLeft;
  // Falling due early means that the process ends: a verdict reached without the waits would be kept for good.
  queues_.globalQueue().postAfter(delay, lifetime_.guard([this, due, sequence = std::move(sequence)]() mutable {
    if (clock_.monotonicNanoseconds() >= due) attempt(std::move(sequence));
  }));
}

void TXSDKiAdClient::attempt(AttemptSequence sequence) {
  platform::ADClient* client = loader_.txsdk_ADClientClass();
  if (!client) {
    sequence.completion(Dictionary{{"error", "ADClient not loaded"}});
    return;
  }
  if (!client->respondsToRequestAttributionDetails()) {
    sequence.completion(Dictionary{{"error", "requestAttributionDetailsWithBlock not respondsToSelector"}});
    return;
  }
  // The client answers on a thread of its own choice, and not every one keeps its word to answer once.
  client->requestAttributionDetails(
      lifetime_.guard([this, isAnswered = std::make_shared<std::atomic<bool>>(false),
                       sequence = std::move(sequence)](Result<Dictionary> details) mutable {
        if (isAnswered->exchange(true)) return;
        queues_.globalQueue().post(
            lifetime_.guard([this, sequence = std::move(sequence), details = std::move(details)]() mutable {
              handleDetails(std::move(sequence), details);
            }));
      }));
}

void TXSDKiAdClient::handleDetails(AttemptSequence sequence, const Result<Dictionary>& details) {
  if (details) {
    sequence.completion(*details);
    return;
  }
  const std::int64_t code = details.error().code();
  if (!isWorthRetrying(code)) {
    sequence.completion(Dictionary{{"error", errorName(code)}});
    return;
  }
  sequence.lastCode = code;
  continueAttempts(std::move(sequence));
}

Dictionary TXSDKiAdClient::appleAdsAttributionToken() {
  if (disableAppleAdsAttribution_) return Dictionary{{"error", tokenDisabled}};
  if (!isSystemAtLeast("14.3")) return Dictionary{{"error", tokenOldPlatform}};
  platform::AAAttribution* attribution = loader_.txsdk_AAAttributionClass();
  if (!attribution || !attribution->respondsToAttributionToken()) return Dictionary{{"error", tokenNoClass}};

  auto token = attribution->attributionToken();
  if (token) return Dictionary{{"token", *std::move(token)}};
  return Dictionary{{"error", token.error().code()}, {"error_reason", token.error().localizedDescription()}};
}

}  // namespace trovix
