#pragma once

#include "trovix/platform/Console.h"
#include "trovix/platform/SystemLog.h"

namespace trovix::platform {

/// Standard output, through the C library's stream, so that lines of the host stay in order.
class LinuxConsole : public Console {
 public:
  void print(std::string_view text) override;
};

/// Standard error, one write a line, so that lines of threads and processes do not mix.
class LinuxSystemLog : public SystemLog {
 public:
  void write(std::string_view line) override;
};

}  // namespace trovix::platform
