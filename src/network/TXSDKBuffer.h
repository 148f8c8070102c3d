#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "network/TXSDKOperation.h"
#include "platform/Mutex.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class TXSDKBuffer;

/// Decides about a buffer's order, its batches and what leaves it. Called on the buffer's queues.
class TXSDKBufferProtocol {
 public:
  using Element = std::shared_ptr<TXSDKOperation>;
  virtual ~TXSDKBufferProtocol() = default;
  /// One of the two callbacks is called, once, from any thread.
  virtual void didFlushWithStatusCodes(const std::vector<std::int64_t>& statusCodes, std::function<void()> commit,
                                       std::function<void()> rollback) = 0;
  /// May reorder or replace the pending elements in place.
  virtual void willReorderBuffer(TXSDKBuffer& buffer, std::deque<Element>& elements) = 0;
  virtual void didRemoveElement(const Element& element, TXSDKBuffer& buffer) = 0;
  virtual void didLockElement(Element& element) = 0;
};

/// An optional observer.
class TXSDKDebugBufferProtocol {
 public:
  virtual ~TXSDKDebugBufferProtocol() = default;
  virtual void didAddElement(const TXSDKBufferProtocol::Element& element) = 0;
  virtual void didRemoveElement(const TXSDKBufferProtocol::Element& element) = 0;
  virtual void didLockElement(const TXSDKBufferProtocol::Element& element) = 0;
};

/// Requests waiting their turn, one on the wire at a time. Public operations may be called from any thread; the lists
/// change on the buffer's own queue only.
class TXSDKBuffer : public std::enable_shared_from_this<TXSDKBuffer> {
 public:
  using Element = TXSDKBufferProtocol::Element;
  static constexpr std::int64_t defaultSize = 40;

  [[nodiscard]] static std::shared_ptr<TXSDKBuffer> buffer(platform::Queues& queues);
  /// A size below 1 counts as 1.
  [[nodiscard]] static std::shared_ptr<TXSDKBuffer> bufferWithSize(std::int64_t size, platform::Queues& queues);
  ~TXSDKBuffer();

  /// Held weakly.
  void setDelegate(std::weak_ptr<TXSDKBufferProtocol> delegate);
  void setDebugDelegate(std::weak_ptr<TXSDKDebugBufferProtocol> delegate);

  /// Appends, evicting the oldest when the pending list is at its capacity.
  void addElement(Element element);
  /// Runs the next batch, or remembers to while one runs. Nothing happens when nothing is pending.
  void flush();
  /// Flushes when the buffer is full.
  void flushIfNeeded();

  /// Whether a batch could be filled, so any pending element makes the buffer full.
  [[nodiscard]] bool isFull() const;
  [[nodiscard]] bool isFlushing() const;
  /// The capacity of the pending list.
  [[nodiscard]] std::int64_t size() const noexcept { return bufferSize_; }
  [[nodiscard]] bool autoFlush() const noexcept { return autoFlush_; }
  void setAutoFlush(bool flag) noexcept { autoFlush_ = flag; }
  [[nodiscard]] bool doFlushWhenCompleted() const noexcept { return doFlushWhenCompleted_; }
  // Copies of the pending and of the executing list, oldest first. While the delegate reorders, the pending elements
  // are with it and not here.
  [[nodiscard]] std::vector<Element> currentElements() const;
  [[nodiscard]] std::vector<Element> lockedElements() const;

 private:
  TXSDKBuffer(std::int64_t size, platform::Queues& queues);
  /// Posts what needs the buffer, which may be gone by then.
  void post(platform::SerialQueue& queue, std::function<void(TXSDKBuffer&)> work);
  [[nodiscard]] std::shared_ptr<TXSDKBufferProtocol> delegate() const;
  [[nodiscard]] std::shared_ptr<TXSDKDebugBufferProtocol> debugDelegate() const;

  // On bufferQueue_.
  void assertOnBufferQueue() const;
  void addPending(const Element& element);
  void evictOldest();
  void reorder();
  void runBatch();
  void commit();
  void rollback();
  void didRemove(const Element& element);

  // On operationQueue_.
  void runOperation(std::size_t index);
  void didFinishOperations();

  static constexpr std::size_t executingElementsSize = 1;
  const std::int64_t bufferSize_;
  const std::shared_ptr<platform::SerialQueue> bufferQueue_;
  const std::shared_ptr<platform::SerialQueue> operationQueue_;
  std::atomic<bool> autoFlush_{true};
  std::atomic<bool> doFlushWhenCompleted_{false};

  // The lists change on bufferQueue_ only; the mutex is for readers elsewhere and never held while calling out.
  mutable platform::Mutex mutex_;
  std::deque<Element> pendingElements_ TX_GUARDED_BY(mutex_);
  /// How many pending elements the delegate is reordering.
  std::size_t handedOut_ TX_GUARDED_BY(mutex_) = 0;
  std::vector<Element> executingElements_ TX_GUARDED_BY(mutex_);
  std::weak_ptr<TXSDKBufferProtocol> delegate_ TX_GUARDED_BY(mutex_);
  std::weak_ptr<TXSDKDebugBufferProtocol> debugDelegate_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix
