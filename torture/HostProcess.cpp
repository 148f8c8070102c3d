#include "torture/HostProcess.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <utility>

namespace trovix::torture {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> quietEnvironment() {
  std::vector<std::string> variables{"TROVIX_DISABLE_LOGS=1"};
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  return variables;
}

HostProcess::Ending endingOf(int status) {
  if (WIFEXITED(status)) {
    return {.byKill = false,
            .exitStatus = WEXITSTATUS(status),
            .text = fmt::format("exited with status {}", WEXITSTATUS(status))};
  }
  return {.byKill = WTERMSIG(status) == SIGKILL,
          .exitStatus = std::nullopt,
          .text = fmt::format("was ended by signal {}", WTERMSIG(status))};
}

}  // namespace

HostProcess::HostProcess(const std::string& program, std::vector<std::string> arguments,
                         const std::string& outputFile) {
  arguments.insert(arguments.begin(), program);
  std::vector<std::string> environment = quietEnvironment();
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_t files;
  ::posix_spawn_file_actions_init(&files);
  ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, outputFile.c_str(), flags, 0600);
  ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, (outputFile + ".err").c_str(), flags, 0600);
  if (::posix_spawn(&process_, program.c_str(), &files, nullptr, pointersTo(arguments).data(),
                    pointersTo(environment).data()) != 0) {
    process_ = -1;
  }
  ::posix_spawn_file_actions_destroy(&files);
}

HostProcess::~HostProcess() {
  if (isStarted()) kill();
}

HostProcess::Ending HostProcess::kill() {
  if (!isStarted()) return {.text = "was not running"};
  ::kill(process_, SIGKILL);
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return endingOf(status);
}

HostProcess::Ending HostProcess::waitForEnd(std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (isStarted() && std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (::waitpid(process_, &status, WNOHANG) == process_) {
      process_ = -1;
      return endingOf(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return kill();
}

}  // namespace trovix::torture
