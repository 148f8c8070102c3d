#include <fmt/core.h>

#include <algorithm>

#include "core/EventDispatch.h"
#include "network/TXSDKEventCache.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"

namespace trovix {
namespace {

std::uint64_t rank(const TXSDKBufferProtocol::Element& element) {
  return element->userObject()->options & eventOption::orderingMask;
}

}  // namespace

void DispatchBufferDelegate::didFlushWithStatusCodes(const std::vector<std::int64_t>& statusCodes,
                                                     std::function<void()> commit, std::function<void()> rollback) {
  if (!statusCodes.empty() && statusCodes.back() == operationStatus::keptForRetry) {
    rollback();
  } else {
    commit();
  }
}

void DispatchBufferDelegate::willReorderBuffer(TXSDKBuffer& buffer, std::vector<Element>& elements) {
  std::stable_sort(elements.begin(), elements.end(),
                   [](const Element& a, const Element& b) { return rank(a) > rank(b); });
  bool isReady = storage_.boolForKey(storageKey::readyToSendEvents);
  if (!elements.empty()) {
    const TXSDKEvent& first = *elements.front()->userObject();
    if (!isReady && first.has(eventOption::TXEventOptionLaunch)) {
      storage_.setBool(true, storageKey::readyToSendEvents);
      isReady = true;
    }
    if (first.isUncounted()) buffer.flush();
  }
  // In-app events wait until the first launch of this installation is in the buffer.
  if (!isReady) return;
  if (!didSwitchAutoFlush_.exchange(true)) buffer.setAutoFlush(true);
  buffer.flush();
}

void DispatchBufferDelegate::didRemoveElement(const Element& element, TXSDKBuffer& /*buffer*/) {
  if (!element->userObject()->isUncounted()) cache_.deleteEvent(*element->userObject());
}

void DispatchBufferDelegate::didLockElement(Element& element) {
  TXSDKEvent& event = *element->userObject();
  if (event.isUncounted()) return;
  const bool isLaunch = event.has(eventOption::TXEventOptionLaunch);
  if (!event.parameters) event.parameters.emplace();
  event.parameters->set("counter", fmt::format("{}", storage_.launchCnt() + (isLaunch ? 1 : 0)));
  event.parameters->set("iaecounter", fmt::format("{}", storage_.inAppCnt() + (isLaunch ? 0 : 1)));
}

}  // namespace trovix
