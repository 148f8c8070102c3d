#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "network/TXSDKEvent.h"

namespace trovix::platform {
class Clock;
}

namespace trovix {

/// How a run of an operation ended.
namespace operationStatus {
inline constexpr std::int64_t delivered = 1;
inline constexpr std::int64_t keptForRetry = 2;
inline constexpr std::int64_t cancelled = -1;
inline constexpr std::int64_t notStarted = -2;
}  // namespace operationStatus

/// One request on its way through the buffer: an identifier, an event, and what to do with it. Any thread.
class TXSDKOperation : public std::enable_shared_from_this<TXSDKOperation> {
 public:
  /// Must end by calling `finishWithStatusCode` on the operation it is given, which may be a copy of the first one.
  using ExecutionBlock = std::function<void(const std::shared_ptr<TXSDKOperation>&)>;

  /// Without an identifier it gets a new UUID.
  [[nodiscard]] static std::shared_ptr<TXSDKOperation> Id(std::optional<std::string> operationId,
                                                          std::shared_ptr<TXSDKEvent> userObject,
                                                          ExecutionBlock executionBlock, const platform::Clock& clock);
  ~TXSDKOperation();

  /// Runs the block, unless the operation was cancelled (it then finishes with -1) or has run already (-2).
  void start();
  /// Once. A block that runs already goes on, and finishes the operation itself.
  void cancel();
  void finishWithStatusCode(std::int64_t statusCode);
  /// A new operation with a copy of the event and the same block, not yet run.
  [[nodiscard]] std::shared_ptr<TXSDKOperation> copy() const;

  [[nodiscard]] const std::string& operationId() const noexcept { return operationId_; }
  [[nodiscard]] const std::shared_ptr<TXSDKEvent>& userObject() const noexcept { return userObject_; }
  [[nodiscard]] std::int64_t statusCode() const;
  [[nodiscard]] bool isExecuting() const;
  [[nodiscard]] bool isFinished() const;
  [[nodiscard]] bool isCancelled() const;
  /// Seconds since 1970; 0 before the start.
  [[nodiscard]] double startTime() const;

  /// Told of "isExecuting", "isFinished", "isCancelled" when the value really changes, outside the lock.
  using Observer = std::function<void(const char* key)>;
  void setObserver(Observer observer);
  /// Called once, on the thread that finishes the operation, after it has finished. Set before the start.
  void setCompletionBlock(std::function<void()> completionBlock);
  [[nodiscard]] std::string description() const { return operationId_; }

 private:
  TXSDKOperation(std::string operationId, std::shared_ptr<TXSDKEvent> userObject, ExecutionBlock executionBlock,
                 const platform::Clock& clock);
  void notify(const char* key) const;

  const std::string operationId_;
  const std::shared_ptr<TXSDKEvent> userObject_;
  const ExecutionBlock executionBlock_;
  const platform::Clock& clock_;

  // The operation's monitor; everything below is guarded by it.
  mutable std::recursive_mutex lock_;
  bool executing_ = false;
  bool finished_ = false;
  bool cancelled_ = false;
  std::int64_t statusCode_ = 0;
  double startTime_ = 0;
  Observer observer_;
  std::function<void()> completionBlock_;
};

}  // namespace trovix
