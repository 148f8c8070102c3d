#include "platform/linux/LinuxConsole.h"

#include <cstdio>

#include "platform/linux/BrokenPipeGuard.h"

namespace trovix::platform {

void LinuxConsole::print(std::string_view text) {
  const BrokenPipeGuard guard;
  if (std::fwrite(text.data(), 1, text.size(), stdout) < text.size()) guard.noteFailure();
  if (std::fflush(stdout) != 0) guard.noteFailure();
}

}  // namespace trovix::platform
