#include "platform/linux/LinuxClock.h"

#include <ctime>

namespace trovix::platform {

double LinuxClock::now() const {
  timespec time{};
  ::clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9 + offset_;
}

std::uint64_t LinuxClock::monotonicNanoseconds() const {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(time.tv_nsec);
}

}  // namespace trovix::platform
