#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "network/TXSDKBuffer.h"

namespace trovix {

class TXSDKEventCache;
class TXSDKStorageProtocol;

/// The buffer's questions: order, flushing, counters, cache files. Called on the buffer's queues.
class DispatchBufferDelegate final : public TXSDKBufferProtocol {
 public:
  DispatchBufferDelegate(TXSDKStorageProtocol& storage, TXSDKEventCache& cache) : storage_(storage), cache_(cache) {}
  void didFlushWithStatusCodes(const std::vector<std::int64_t>& statusCodes, std::function<void()> commit,
                               std::function<void()> rollback) override;
  void willReorderBuffer(TXSDKBuffer& buffer, std::deque<Element>& elements) override;
  void didRemoveElement(const Element& element, TXSDKBuffer& buffer) override;
  void didLockElement(Element& element) override;

 private:
  /// Fresh launches first; elements of equal rank keep their order.
  void order(std::deque<Element>& elements);

  TXSDKStorageProtocol& storage_;
  TXSDKEventCache& cache_;
  std::atomic<bool> didSwitchAutoFlush_{false};
  std::size_t orderedCount_ = 0;  // the buffer's queue only: how many elements were last left in order
};

}  // namespace trovix
