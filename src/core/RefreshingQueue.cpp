#include "core/RefreshingQueue.h"

#include <utility>

#include "storage/TXSDKStorageProtocol.h"

namespace trovix {

RefreshingQueue::RefreshingQueue(std::shared_ptr<platform::SerialQueue> queue, TXSDKStorageProtocol& storage,
                                 Lifetime lifetime)
    : queue_(std::move(queue)), storage_(storage), lifetime_(std::move(lifetime)) {}

void RefreshingQueue::post(platform::Task task) { queue_->post(refreshing(std::move(task))); }

void RefreshingQueue::postAfter(std::chrono::nanoseconds delay, platform::Task task) {
  queue_->postAfter(delay, refreshing(std::move(task)));
}

std::unique_ptr<platform::Timer> RefreshingQueue::makeOneShotTimer(std::chrono::nanoseconds delay,
                                                                   platform::Task task) {
  return queue_->makeOneShotTimer(delay, refreshing(std::move(task)));
}

platform::Task RefreshingQueue::refreshing(platform::Task task) const {
  return [&storage = storage_, lifetime = lifetime_, task = std::move(task)] {
    if (const auto held = lifetime.hold()) storage.refresh();
    task();
  };
}

}  // namespace trovix
