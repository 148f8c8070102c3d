#include "platform/linux/QueueHub.h"

namespace trovix::platform {

thread_local const TaskFrame* TaskFrame::current_ = nullptr;

std::uint64_t QueueHub::ownTasks() const noexcept {
  std::uint64_t count = 0;
  for (const auto* frame = TaskFrame::current(); frame != nullptr; frame = frame->outer()) {
    if (&frame->hub() == this) ++count;
  }
  return count;
}

bool TaskFrame::isInside(const void* queue) noexcept {
  for (const auto* frame = current_; frame != nullptr; frame = frame->outer()) {
    if (frame->queue() == queue) return true;
  }
  return false;
}

}  // namespace trovix::platform
