#include "platform/linux/LinuxSystemLog.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/linux/BrokenPipeGuard.h"

namespace trovix::platform {

void LinuxSystemLog::write(std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  text.append(line).push_back('\n');
  std::string_view rest = text;
  const BrokenPipeGuard guard;
  while (!rest.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return guard.noteFailure();
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace trovix::platform
