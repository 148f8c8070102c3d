#pragma once

#include <fmt/core.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "trovix/Error.h"
#include "trovix/Value.h"

namespace trovix::platform {
class Clock;
class SystemLog;
}  // namespace trovix::platform

namespace trovix {

enum class LogLevel : std::int32_t { error = 1, warning = 2, info = 3, debug = 4, trace = 5 };

/// Where lines go besides the system's log. Installed by remote debugging.
struct LogMirror {
  /// Takes a line for the remote channel: level, method ("-[Class selector]"), message. Runs on the thread that logs.
  /// What it logs itself goes to the system's log only.
  void (*take)(void* context, std::int32_t level, std::string_view method, std::string_view message) = nullptr;
  void* context = nullptr;
};

namespace logging {

inline constexpr std::uint32_t showLogs = 1;
inline constexpr std::uint32_t showLogsTrace = 2;
inline constexpr std::uint32_t mirrorLogs = 4;
/// All switches in one word, so that a log site that is off costs one flag test.
inline std::atomic<std::uint32_t> switches{0};

/// Whether switches that are not all off want a line of that level.
[[nodiscard]] bool isWantedBy(std::uint32_t on, LogLevel level) noexcept;
/// Whether a site of that level has anybody to write to.
[[nodiscard]] inline bool isWanted(LogLevel level) noexcept {
  const std::uint32_t on = switches.load(std::memory_order_relaxed);
  return on != 0 && isWantedBy(on, level);
}

/// A line for the mirror alone, at a level of its own.
void mirrorOnly(LogLevel level, const char* prettyFunction, std::string_view message);

/// Formats once, then writes locally and to the mirror as the switches say. A line that fails is lost.
void write(LogLevel level, const char* prettyFunction, fmt::string_view format, fmt::format_args args) noexcept;

template <typename... Args>
void writeSite(LogLevel level, const char* prettyFunction, fmt::format_string<Args...> format, Args&&... args) {
  write(level, prettyFunction, format, fmt::make_format_args(args...));
}

/// The log's outside. Null pointers detach it; lines are then lost. Returns once no thread is inside the earlier one.
/// Not to be called from inside the log's outside.
void installSink(platform::SystemLog* systemLog, const platform::Clock* clock);
/// An empty mirror removes it. Returns once no thread is inside the earlier one. Not to be called from a mirror.
void installMirror(LogMirror mirror);
/// Whether lines are wanted by the mirror; set by remote debugging whenever its flags or what is left of its budget
/// change.
void setMirroring(bool on) noexcept;

/// "-[Class method]" ("+" for a static one), with "_block_invoke" inside a closure, from the compiler's name of a
/// function. Of a free function it is the bare name.
[[nodiscard]] std::string methodName(std::string_view prettyFunction);

}  // namespace logging

void TXSetShowDebugLogs(bool flag) noexcept;
void TXSetShowDebugLogsTrace(bool flag) noexcept;
/// Origin of the elapsed-time stamp, seconds since 1970.
void TXSetSessionStartDate(double date) noexcept;
/// The seven-character tag of a level.
[[nodiscard]] const char* levelToString(std::int32_t level) noexcept;
/// Hours, minutes, seconds and milliseconds since the session start, or "--:--:--:---".
[[nodiscard]] std::string timeToString();
/// One local line, if the master switch is on: the message with its level tag, and its stamp while tracing.
void TXLogLocal(std::int32_t level, const char* functionName, std::string_view message);
/// Straight to the system's log, whatever the switches say.
void TXSystemLog(std::string_view line);

}  // namespace trovix

/// A log site. Nothing is evaluated unless somebody wants the line.
#define TX_LOG(level, ...)                                                                       \
  do {                                                                                           \
    if (::trovix::logging::isWanted(::trovix::LogLevel::level)) [[unlikely]]                     \
      ::trovix::logging::writeSite(::trovix::LogLevel::level, __PRETTY_FUNCTION__, __VA_ARGS__); \
  } while (false)

// `{}` prints values as `%@` does. Defined in one place, so that a log site takes in no formatting code.
template <>
struct fmt::formatter<trovix::Value> : fmt::formatter<fmt::string_view> {
  fmt::appender format(const trovix::Value& value, fmt::format_context& context) const;
};
template <>
struct fmt::formatter<trovix::Dictionary> : fmt::formatter<fmt::string_view> {
  fmt::appender format(const trovix::Dictionary& value, fmt::format_context& context) const;
};
template <>
struct fmt::formatter<trovix::Error> : fmt::formatter<fmt::string_view> {
  fmt::appender format(const trovix::Error& error, fmt::format_context& context) const;
};
