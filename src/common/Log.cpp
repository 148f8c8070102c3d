#include "common/Log.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "common/QuiescentSlot.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/SystemLog.h"

namespace trovix {
namespace {

struct Sink {
  platform::SystemLog* systemLog = nullptr;
  const platform::Clock* clock = nullptr;
};

// Never destroyed: threads may still log while the process exits.
struct Outside {
  QuiescentSlot<Sink> sink;
  QuiescentSlot<LogMirror> mirror;
  std::atomic<double> sessionStart{std::numeric_limits<double>::quiet_NaN()};
};

Outside& outside() {
  static auto& instance = *new Outside;
  return instance;
}

// A mirror or a system log that logs itself must not be called again from its own call.
thread_local bool insideMirror = false;
thread_local bool insideSystemLog = false;

class Entered {
 public:
  explicit Entered(bool& flag) noexcept : flag_(flag) { flag_ = true; }
  ~Entered() { flag_ = false; }
  Entered(const Entered&) = delete;
  Entered& operator=(const Entered&) = delete;

 private:
  bool& flag_;
};

bool isOn(std::uint32_t bit) noexcept { return (logging::switches.load(std::memory_order_relaxed) & bit) != 0; }

void setSwitch(std::uint32_t bit, bool on) noexcept {
  if (on) {
    logging::switches.fetch_or(bit, std::memory_order_relaxed);
  } else {
    logging::switches.fetch_and(~bit, std::memory_order_relaxed);
  }
}

std::string stampOf(std::int64_t milliseconds) {
  return fmt::format("{:02}:{:02}:{:02}:{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

}  // namespace

namespace logging {

void installSink(platform::SystemLog* systemLog, const platform::Clock* clock) {
  outside().sink.install({systemLog, clock});
}

void installMirror(LogMirror mirror) { outside().mirror.install(mirror); }

void setMirroring(bool on) noexcept { setSwitch(mirrorLogs, on); }

bool isWantedBy(std::uint32_t on, LogLevel level) noexcept {
  if ((on & mirrorLogs) != 0) return true;
  return (on & showLogs) != 0 && (level != LogLevel::trace || (on & showLogsTrace) != 0);
}

void mirrorOnly(LogLevel level, const char* prettyFunction, std::string_view message) {
  if (!isOn(mirrorLogs) || insideMirror) return;
  outside().mirror.use([&](const LogMirror& mirror) {
    if (mirror.take == nullptr) return;
    const Entered entered(insideMirror);
    mirror.take(mirror.context, static_cast<std::int32_t>(level), methodName(prettyFunction), message);
  });
}

void write(LogLevel level, const char* prettyFunction, fmt::string_view format, fmt::format_args args) noexcept {
  try {
    const std::string message = fmt::vformat(format, args);
    if (level != LogLevel::trace || isOn(showLogsTrace)) {
      TXLogLocal(static_cast<std::int32_t>(level), prettyFunction, message);
    }
    mirrorOnly(level, prettyFunction, message);
  } catch (...) {
    // A line is lost; whoever logs goes on.
  }
}

}  // namespace logging

void TXSetShowDebugLogs(bool flag) noexcept { setSwitch(logging::showLogs, flag); }

void TXSetShowDebugLogsTrace(bool flag) noexcept { setSwitch(logging::showLogsTrace, flag); }

void TXSetSessionStartDate(double date) noexcept { outside().sessionStart.store(date); }

const char* levelToString(std::int32_t level) noexcept {
  switch (level) {
    case 1:
      return "[ERROR]";
    case 2:
      return "[WARN] ";
    case 3:
      return "[INFO] ";
    case 4:
      return "[DEBUG]";
    case 5:
      return "[TRACE]";
    default:
      return "[-----]";
  }
}

std::string timeToString() {
  const double start = outside().sessionStart.load();
  std::int64_t elapsed = -1;
  outside().sink.use([&](const Sink& sink) {
    if (sink.clock != nullptr && !std::isnan(start)) elapsed = saturatingInteger((sink.clock->now() - start) * 1000.0);
  });
  return elapsed < 0 ? "--:--:--:---" : stampOf(elapsed);
}

void TXLogLocal(std::int32_t level, const char* /*functionName*/, std::string_view message) {
  if (!isOn(logging::showLogs)) return;
  if (isOn(logging::showLogsTrace)) {
    TXSystemLog(fmt::format("({}) Trovix: {} {}", timeToString(), levelToString(level), message));
  } else {
    TXSystemLog(fmt::format("{} Trovix: {}", levelToString(level), message));
  }
}

void TXSystemLog(std::string_view line) {
  if (insideSystemLog) return;
  outside().sink.use([&](const Sink& sink) {
    if (sink.systemLog == nullptr) return;
    const Entered entered(insideSystemLog);
    sink.systemLog->write(line);
  });
}

}  // namespace trovix

fmt::appender fmt::formatter<trovix::Value>::format(const trovix::Value& value, fmt::format_context& context) const {
  return fmt::formatter<fmt::string_view>::format(trovix::description(value), context);
}

fmt::appender fmt::formatter<trovix::Dictionary>::format(const trovix::Dictionary& value,
                                                         fmt::format_context& context) const {
  return fmt::formatter<fmt::string_view>::format(trovix::description(value), context);
}

fmt::appender fmt::formatter<trovix::Error>::format(const trovix::Error& error, fmt::format_context& context) const {
  return fmt::formatter<fmt::string_view>::format(error.description(), context);
}
