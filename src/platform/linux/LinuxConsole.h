#pragma once

#include "trovix/platform/Console.h"

namespace trovix::platform {

/// Standard output, through the C library's stream, so that lines of the host stay in order.
class LinuxConsole : public Console {
 public:
  void print(std::string_view text) override;
};

}  // namespace trovix::platform
