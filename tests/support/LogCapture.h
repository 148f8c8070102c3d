#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/Lifetime.h"
#include "common/Log.h"
#include "support/SimulatedDevice.h"

namespace trovix::test {

/// Sends the log to the device's system log, switched on, until the end of the scope.
class LogCapture {
 public:
  enum class Detail : std::uint8_t { debug, trace };

  explicit LogCapture(SimulatedDevice& device, Detail detail = Detail::debug)
      : log_(device.systemLog), switches_(logging::switches.load()) {
    logging::installSink(&device.systemLog, &device.clock);
    TXSetShowDebugLogs(true);
    TXSetShowDebugLogsTrace(detail == Detail::trace);
  }
  ~LogCapture() {
    logging::switches.store(switches_);
    logging::installSink(nullptr, nullptr);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return log_.lines; }
  void clear() { log_.lines.clear(); }
  /// How many lines hold the text.
  std::size_t count(std::string_view text) const {
    return static_cast<std::size_t>(std::count_if(log_.lines.begin(), log_.lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    }));
  }
  /// For EXPECT_TRUE: whether a line holds the text; shows the whole log when none does.
  testing::AssertionResult has(std::string_view text) const {
    if (count(text) > 0) return testing::AssertionSuccess() << "the log holds \"" << text << '"';
    auto failure = testing::AssertionFailure() << '"' << text << "\" is not in the log:";
    for (const std::string& line : log_.lines) failure << "\n  " << line;
    return failure;
  }

 private:
  SimulatedSystemLog& log_;
  std::uint32_t switches_;
};

/// Stands for the object that guarded closures belong to.
class Owner {
 public:
  Owner() { lifetime_.bind(token_); }
  /// Binds a lifetime that something else made.
  explicit Owner(Lifetime lifetime) : lifetime_(std::move(lifetime)) { lifetime_.bind(token_); }

  const Lifetime& lifetime() const { return lifetime_; }
  /// From now on guarded closures do nothing.
  void die() { token_.reset(); }

 private:
  std::shared_ptr<const void> token_ = std::make_shared<int>(0);
  Lifetime lifetime_;
};

}  // namespace trovix::test
