#include "platform/linux/LinuxOutput.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace trovix::platform {

void LinuxConsole::print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void LinuxSystemLog::write(std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  text.append(line).push_back('\n');
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace trovix::platform
