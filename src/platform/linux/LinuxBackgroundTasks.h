#pragma once

#include <atomic>

#include "trovix/platform/BackgroundTasks.h"

namespace trovix::platform {

/// Linux lets a process in the background run on, so a task's time is never up and its expiry handler never called.
class LinuxBackgroundTasks : public BackgroundTasks {
 public:
  [[nodiscard]] std::uint64_t begin(std::function<void()>) override { return ++lastIdentifier_; }
  void end(std::uint64_t) override {}

 private:
  std::atomic<std::uint64_t> lastIdentifier_{0};
};

}  // namespace trovix::platform
