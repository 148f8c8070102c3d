#pragma once

#include <cstdint>
#include <functional>

#include "trovix/Export.h"

namespace trovix::platform {

/// Keeps the process alive for a short while after it goes to the background. Any thread.
class TROVIX_API BackgroundTasks {
 public:
  virtual ~BackgroundTasks() = default;
  /// Starts a task and answers its identifier. The expiry handler runs when time is up; it must end the task.
  [[nodiscard]] virtual std::uint64_t begin(std::function<void()> expiryHandler) = 0;
  /// The task is over: the process need not stay alive for it.
  virtual void end(std::uint64_t identifier) = 0;
};

}  // namespace trovix::platform
