#include "network/TXSDKBuffer.h"

#include <algorithm>
#include <utility>

#include "common/Log.h"

namespace trovix {

using platform::MutexLock;

std::shared_ptr<TXSDKBuffer> TXSDKBuffer::buffer(platform::Queues& queues) {
  return bufferWithSize(defaultSize, queues);
}

std::shared_ptr<TXSDKBuffer> TXSDKBuffer::bufferWithSize(std::int64_t size, platform::Queues& queues) {
  return std::shared_ptr<TXSDKBuffer>(new TXSDKBuffer(size, queues));
}

TXSDKBuffer::TXSDKBuffer(std::int64_t size, platform::Queues& queues)
    : bufferSize_(std::max<std::int64_t>(size, 1)),
      bufferQueue_(queues.makeSerialQueue("txsdk-buffer-serial")),
      operationQueue_(queues.makeSerialQueue("txsdk-inner-buffer-serial")) {}

TXSDKBuffer::~TXSDKBuffer() { TX_LOG(debug, "[HTTP] Dealloc. TXSDKBuffer\n"); }

void TXSDKBuffer::setDelegate(std::weak_ptr<TXSDKBufferProtocol> delegate) {
  const MutexLock lock(mutex_);
  delegate_ = std::move(delegate);
}

void TXSDKBuffer::setDebugDelegate(std::weak_ptr<TXSDKDebugBufferProtocol> delegate) {
  const MutexLock lock(mutex_);
  debugDelegate_ = std::move(delegate);
}

std::shared_ptr<TXSDKBufferProtocol> TXSDKBuffer::delegate() const {
  const MutexLock lock(mutex_);
  return delegate_.lock();
}

std::shared_ptr<TXSDKDebugBufferProtocol> TXSDKBuffer::debugDelegate() const {
  const MutexLock lock(mutex_);
  return debugDelegate_.lock();
}

bool TXSDKBuffer::isFull() const {
  const MutexLock lock(mutex_);
  return pendingElements_.size() + handedOut_ >= executingElementsSize;
}

bool TXSDKBuffer::isFlushing() const {
  const MutexLock lock(mutex_);
  return !executingElements_.empty();
}

std::vector<TXSDKBuffer::Element> TXSDKBuffer::currentElements() const {
  const MutexLock lock(mutex_);
  return {pendingElements_.begin(), pendingElements_.end()};
}

std::vector<TXSDKBuffer::Element> TXSDKBuffer::lockedElements() const {
  const MutexLock lock(mutex_);
  return executingElements_;
}

void TXSDKBuffer::post(platform::SerialQueue& queue, std::function<void(TXSDKBuffer&)> work) {
  queue.post([weakSelf = weak_from_this(), work = std::move(work)] {
    if (const auto self = weakSelf.lock()) work(*self);
  });
}

void TXSDKBuffer::addElement(Element element) {
  post(*bufferQueue_, [element = std::move(element)](TXSDKBuffer& self) { self.addPending(element); });
}

void TXSDKBuffer::flush() {
  post(*bufferQueue_, [](TXSDKBuffer& self) { self.runBatch(); });
}

void TXSDKBuffer::flushIfNeeded() {
  // A flush that is only remembered must not fall between the end of a batch and the look at what was remembered.
  if (!bufferQueue_->isCurrent()) return post(*bufferQueue_, [](TXSDKBuffer& self) { self.flushIfNeeded(); });
  if (!isFull()) return;
  if (isFlushing()) {
    doFlushWhenCompleted_ = true;
  } else {
    flush();
  }
}

void TXSDKBuffer::assertOnBufferQueue() const {
  if (!bufferQueue_->isCurrent()) TX_LOG(debug, "[HTTP] Wrong dispatch_queue_t!\n");
}

void TXSDKBuffer::addPending(const Element& element) {
  evictOldest();
  {
    const MutexLock lock(mutex_);
    pendingElements_.push_back(element);
  }
  if (const auto debug = debugDelegate()) debug->didAddElement(element);
  reorder();
  if (autoFlush_) flushIfNeeded();
}

void TXSDKBuffer::evictOldest() {
  Element oldest;
  {
    const MutexLock lock(mutex_);
    if (std::cmp_less(pendingElements_.size(), bufferSize_)) return;
    oldest = pendingElements_.front();
  }
  didRemove(oldest);
  const MutexLock lock(mutex_);
  pendingElements_.pop_front();
}

void TXSDKBuffer::reorder() {
  const auto decider = delegate();
  if (!decider) return;
  std::deque<Element> elements;
  {
    const MutexLock lock(mutex_);
    elements.swap(pendingElements_);
    handedOut_ = elements.size();
  }
  decider->willReorderBuffer(*this, elements);
  const MutexLock lock(mutex_);
  pendingElements_.swap(elements);
  handedOut_ = 0;
}

void TXSDKBuffer::runBatch() {
  std::vector<Element> batch;
  {
    const MutexLock lock(mutex_);
    if (!executingElements_.empty()) {
      doFlushWhenCompleted_ = true;
      return;
    }
    while (batch.size() < executingElementsSize && !pendingElements_.empty()) {
      batch.push_back(std::move(pendingElements_.front()));
      pendingElements_.pop_front();
    }
    executingElements_ = batch;
  }
  // An empty batch would be committed after the next one has begun, and take that one's element for its own.
  if (batch.empty()) return;

  const auto debug = debugDelegate();
  const auto decider = delegate();
  for (Element& element : batch) {
    if (debug) debug->didLockElement(element);
    if (decider) decider->didLockElement(element);
  }
  {
    const MutexLock lock(mutex_);
    executingElements_ = std::move(batch);
  }
  post(*operationQueue_, [](TXSDKBuffer& self) { self.runOperation(0); });
}

void TXSDKBuffer::runOperation(std::size_t index) {
  Element element;
  {
    const MutexLock lock(mutex_);
    if (index < executingElements_.size()) element = executingElements_[index];
  }
  if (!element) return didFinishOperations();

  std::function<void()> next = [weakSelf = weak_from_this(), index] {
    if (const auto self = weakSelf.lock()) {
      self->post(*self->operationQueue_, [index](TXSDKBuffer& buffer) { buffer.runOperation(index + 1); });
    }
  };
  // One that has run before finishes no second time; the batch goes on without it.
  if (element->isFinished()) {
    element->start();
    return next();
  }
  element->setCompletionBlock(std::move(next));
  element->start();
}

void TXSDKBuffer::didFinishOperations() {
  const auto decider = delegate();
  if (!decider) return;
  std::vector<std::int64_t> statusCodes;
  for (const Element& element : lockedElements()) statusCodes.push_back(element->statusCode());

  // A second verdict would fall on the next batch.
  const auto decided = std::make_shared<std::atomic_flag>();
  const auto verdict = [&](void (TXSDKBuffer::*execute)()) {
    return [weakSelf = weak_from_this(), decided, execute] {
      const auto self = weakSelf.lock();
      if (!self || decided->test_and_set()) return;
      self->post(*self->bufferQueue_, [execute](TXSDKBuffer& buffer) {
        buffer.assertOnBufferQueue();
        (buffer.*execute)();
      });
    };
  };
  decider->didFlushWithStatusCodes(statusCodes, verdict(&TXSDKBuffer::commit), verdict(&TXSDKBuffer::rollback));
}

void TXSDKBuffer::commit() {
  // Held until the lock is gone: an operation that goes logs, and lets go of what the host gave it.
  const std::vector<Element> committed = lockedElements();
  for (const Element& element : committed) didRemove(element);
  {
    const MutexLock lock(mutex_);
    executingElements_.clear();
  }
  if (autoFlush_ || doFlushWhenCompleted_) {
    flushIfNeeded();
    doFlushWhenCompleted_ = false;
  }
}

void TXSDKBuffer::rollback() {
  const std::vector<Element> elements = lockedElements();
  const auto debug = debugDelegate();
  for (auto element = elements.rbegin(); element != elements.rend(); ++element) {
    const Element again = (*element)->copy();
    {
      const MutexLock lock(mutex_);
      pendingElements_.push_front(again);
    }
    if (debug) debug->didAddElement(again);
  }
  {
    const MutexLock lock(mutex_);
    executingElements_.clear();
  }
  doFlushWhenCompleted_ = false;
}

void TXSDKBuffer::didRemove(const Element& element) {
  if (const auto decider = delegate()) decider->didRemoveElement(element, *this);
  if (const auto debug = debugDelegate()) debug->didRemoveElement(element);
}

}  // namespace trovix
