#pragma once

#include "trovix/platform/SystemLog.h"

namespace trovix::platform {

/// Standard error, one write a line, so that lines of threads and processes do not mix.
class LinuxSystemLog : public SystemLog {
 public:
  void write(std::string_view line) override;
};

}  // namespace trovix::platform
