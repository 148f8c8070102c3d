#include "network/TXSDKOperation.h"

#include <utility>

#include "common/Log.h"
#include "platform/Crypto.h"
#include "trovix/platform/Clock.h"

namespace trovix {
namespace {

constexpr const char* executingKey = "isExecuting";
constexpr const char* finishedKey = "isFinished";
constexpr const char* cancelledKey = "isCancelled";

using Lock = std::lock_guard<std::recursive_mutex>;

}  // namespace

std::shared_ptr<TXSDKOperation> TXSDKOperation::Id(std::optional<std::string> operationId,
                                                   std::shared_ptr<TXSDKEvent> userObject,
                                                   ExecutionBlock executionBlock, const platform::Clock& clock) {
  std::string identifier = operationId ? std::move(*operationId) : platform::randomUUIDString();
  return std::shared_ptr<TXSDKOperation>(
      new TXSDKOperation(std::move(identifier), std::move(userObject), std::move(executionBlock), clock));
}

TXSDKOperation::TXSDKOperation(std::string operationId, std::shared_ptr<TXSDKEvent> userObject,
                               ExecutionBlock executionBlock, const platform::Clock& clock)
    : operationId_(std::move(operationId)),
      userObject_(std::move(userObject)),
      executionBlock_(std::move(executionBlock)),
      clock_(clock) {}

TXSDKOperation::~TXSDKOperation() {
  if (finished_) {
    TX_LOG(debug, "[HTTP] Dealloc. Time elapsed for: `{}` - {}\n", operationId_, Value(clock_.now() - startTime_));
  } else {
    TX_LOG(debug, "[HTTP] Dealloc. CANCELLED: `{}`\n", operationId_);
  }
}

void TXSDKOperation::start() {
  TX_LOG(debug, "[HTTP] Operation start: `{}`\n", description());
  bool wasCancelled = false;
  bool runs = false;
  {
    const Lock lock(lock_);
    startTime_ = clock_.now();
    wasCancelled = cancelled_;
    runs = !cancelled_ && !finished_ && !executing_ && executionBlock_;
    if (runs) executing_ = true;
  }
  if (wasCancelled) return finishWithStatusCode(operationStatus::cancelled);
  if (!runs) return finishWithStatusCode(operationStatus::notStarted);
  notify(executingKey);
  executionBlock_(shared_from_this());
}

void TXSDKOperation::finishWithStatusCode(std::int64_t statusCode) {
  bool finishedNow = false;
  bool stoppedNow = false;
  std::function<void()> completionBlock;
  {
    const Lock lock(lock_);
    statusCode_ = statusCode;
    finishedNow = !std::exchange(finished_, true);
    stoppedNow = std::exchange(executing_, false);
    if (finishedNow) completionBlock = std::exchange(completionBlock_, nullptr);
  }
  if (finishedNow) notify(finishedKey);
  if (stoppedNow) notify(executingKey);
  if (completionBlock) completionBlock();
}

void TXSDKOperation::cancel() {
  bool stoppedNow = false;
  {
    const Lock lock(lock_);
    if (std::exchange(cancelled_, true)) return;
    stoppedNow = std::exchange(executing_, false);
  }
  notify(cancelledKey);
  if (stoppedNow) notify(executingKey);
}

void TXSDKOperation::notify(const char* key) const {
  Observer observer;
  {
    const Lock lock(lock_);
    observer = observer_;
  }
  if (observer) observer(key);
}

std::shared_ptr<TXSDKOperation> TXSDKOperation::copy() const {
  return Id(operationId_, userObject_ ? std::make_shared<TXSDKEvent>(*userObject_) : nullptr, executionBlock_, clock_);
}

std::int64_t TXSDKOperation::statusCode() const {
  const Lock lock(lock_);
  return statusCode_;
}

bool TXSDKOperation::isExecuting() const {
  const Lock lock(lock_);
  return executing_;
}

bool TXSDKOperation::isFinished() const {
  const Lock lock(lock_);
  return finished_;
}

bool TXSDKOperation::isCancelled() const {
  const Lock lock(lock_);
  return cancelled_;
}

double TXSDKOperation::startTime() const {
  const Lock lock(lock_);
  return startTime_;
}

void TXSDKOperation::setObserver(Observer observer) {
  const Lock lock(lock_);
  observer_ = std::move(observer);
}

void TXSDKOperation::setCompletionBlock(std::function<void()> completionBlock) {
  const Lock lock(lock_);
  completionBlock_ = std::move(completionBlock);
}

}  // namespace trovix
