#include "core/DispatchBufferDelegate.h"

#include <fmt/core.h>

#include <algorithm>
#include <cassert>
#include <iterator>

#include "common/Counter.h"
#include "network/TXSDKEventCache.h"
#include "storage/StorageKeys.h"
#include "storage/TXSDKStorageProtocol.h"

namespace trovix {
namespace {

std::uint64_t rank(const TXSDKBufferProtocol::Element& element) {
  return element->userObject()->options & eventOption::orderingMask;
}

bool standsBefore(const TXSDKBufferProtocol::Element& a, const TXSDKBufferProtocol::Element& b) {
  return rank(a) > rank(b);
}

bool isLaunch(const TXSDKBufferProtocol::Element& element) {
  return element->userObject()->has(eventOption::TXEventOptionLaunch);
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

void DispatchBufferDelegate::willReorderBuffer(TXSDKBuffer& buffer, std::deque<Element>& elements) {
  order(elements);
  bool isReady = storage_.boolForKey(storageKey::readyToSendEvents);
  // The launch need not stand first: requests that go before it, and events of its own rank that came earlier, would
  // hold everything back until another launch.
  if (!isReady && std::any_of(elements.begin(), elements.end(), isLaunch)) {
    storage_.setBool(true, storageKey::readyToSendEvents);
    isReady = true;
  }
  if (!elements.empty() && elements.front()->userObject()->isUncounted()) buffer.flush();
  // In-app events wait until the first launch of this installation is in the buffer.
  if (!isReady) return;
  if (!didSwitchAutoFlush_.exchange(true)) buffer.setAutoFlush(true);
  buffer.flush();
}

void DispatchBufferDelegate::order(std::deque<Element>& elements) {
  // Elements leave the front and come back to it, and the newest is the last. So a list that has grown by no more than
  // that one holds it and elements that were left in order.
  if (!elements.empty() && elements.size() - 1 <= orderedCount_) {
    const auto newest = std::prev(elements.end());
    std::rotate(std::upper_bound(elements.begin(), newest, *newest, standsBefore), newest, elements.end());
  } else {
    std::stable_sort(elements.begin(), elements.end(), standsBefore);
  }
  assert(std::is_sorted(elements.begin(), elements.end(), standsBefore));
  orderedCount_ = elements.size();
}

void DispatchBufferDelegate::didRemoveElement(const Element& element, TXSDKBuffer& /*buffer*/) {
  if (!element->userObject()->isUncounted()) cache_.deleteEvent(*element->userObject());
}

void DispatchBufferDelegate::didLockElement(Element& element) {
  TXSDKEvent& event = *element->userObject();
  if (event.isUncounted()) return;
  const bool isLaunch = event.has(eventOption::TXEventOptionLaunch);
  if (!event.parameters) event.parameters.emplace();
  const std::int64_t launches = storage_.launchCnt(), events = storage_.inAppCnt();
  event.parameters->set("counter", fmt::format("{}", isLaunch ? successor(launches) : launches));
  event.parameters->set("iaecounter", fmt::format("{}", isLaunch ? events : successor(events)));
}

}  // namespace trovix
