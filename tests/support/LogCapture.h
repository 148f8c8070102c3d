#pragma once

#include "common/Lifetime.h"
#include "common/Log.h"
#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix::test {

/// Sends the log to the device's system log, switched on, until the end of the scope.
class LogCapture {
 public:
  explicit LogCapture(SimulatedDevice& device) : log_(device.systemLog), switches_(logging::switches.load()) {
    logging::installSink(&device.systemLog, &device.clock);
    TXSetShowDebugLogs(true);
  }
  ~LogCapture() {
    logging::switches.store(switches_);
    logging::installSink(nullptr, nullptr);
  }

  const std::vector<std::string>& lines() const { return log_.lines; }
  /// How many lines hold the text.
  std::size_t count(std::string_view text) const {
    return static_cast<std::size_t>(std::count_if(log_.lines.begin(), log_.lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    }));
  }
  bool has(std::string_view text) const { return count(text) > 0; }

 private:
  SimulatedSystemLog& log_;
  std::uint32_t switches_;
};

/// Stands for the object that guarded closures belong to.
class Owner {
 public:
  Owner() { lifetime_.bind(token_); }

  const Lifetime& lifetime() const { return lifetime_; }
  /// From now on guarded closures do nothing.
  void die() { token_.reset(); }

 private:
  std::shared_ptr<const void> token_ = std::make_shared<int>(0);
  Lifetime lifetime_;
};

}  // namespace trovix::test
