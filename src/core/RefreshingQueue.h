#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "common/Lifetime.h"
#include "trovix/platform/Queues.h"

namespace trovix {

class TXSDKStorageProtocol;

/// A serial queue whose every job begins by seeing what the other processes of the application group stored.
class RefreshingQueue final : public platform::SerialQueue {
 public:
  /// Jobs that run after the lifetime's owner is gone leave the storage alone.
  RefreshingQueue(std::shared_ptr<platform::SerialQueue> queue, TXSDKStorageProtocol& storage, Lifetime lifetime);

  void post(platform::Task task) override;
  void postAfter(std::chrono::nanoseconds delay, platform::Task task) override;
  [[nodiscard]] std::unique_ptr<platform::Timer> makeOneShotTimer(std::chrono::nanoseconds delay,
                                                                  platform::Task task) override;
  bool isCurrent() const override { return queue_->isCurrent(); }
  const std::string& label() const override { return queue_->label(); }

 private:
  [[nodiscard]] platform::Task refreshing(platform::Task task) const;

  const std::shared_ptr<platform::SerialQueue> queue_;
  TXSDKStorageProtocol& storage_;
  const Lifetime lifetime_;
};

}  // namespace trovix
