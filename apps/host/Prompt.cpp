#include "host/Prompt.h"

#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/Properties.h"

namespace trovix::host {
namespace {

bool inputIsReady() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) > 0;
}

/// Lets the library work while nobody types.
void waitForInput(Session& session) {
  while (!session.serveMainQueueUntil(inputIsReady, std::chrono::hours(1))) {
  }
}

void printHelp() {
  for (const Command& command : commands()) {
    std::string usage = command.name;
    for (const Argument& argument : command.arguments) {
      usage += argument.required ? std::string(" ") + argument.label : std::string(" [") + argument.label + "]";
    }
    std::printf("  %-28s %s\n", usage.c_str(), command.help);
  }
  std::fflush(stdout);
}

/// False when the line was refused.
bool runLine(Session& session, const char* text) {
  if (std::strcmp(text, "help") == 0) {
    printHelp();
    return true;
  }
  ParsedLine parsed = parseLine(text);
  if (const auto* why = std::get_if<std::string>(&parsed)) {
    std::fprintf(stderr, "%s\n", why->c_str());
    return false;
  }
  if (const auto* line = std::get_if<Line>(&parsed)) session.run(*line);
  return true;
}

/// Completes command names at the start of a line, property names after `set` and `get`.
char* nextCompletion(const char* text, int state) {
  static std::size_t position;
  if (state == 0) position = 0;
  const bool isProperty = std::strncmp(rl_line_buffer, "set ", 4) == 0 || std::strncmp(rl_line_buffer, "get ", 4) == 0;
  const std::size_t count = isProperty ? properties().size() : commands().size();
  while (position < count) {
    const char* candidate = isProperty ? properties()[position].name : commands()[position].name;
    ++position;
    if (std::strncmp(candidate, text, std::strlen(text)) == 0) return strdup(candidate);
  }
  return nullptr;
}

// The line editor calls back without a context.
Session* promptSession = nullptr;
bool promptIsOver = false;
bool promptHasLine = false;

constexpr const char* prompt = "trovix> ";

void didReadLine(char* line) {
  if (line == nullptr) {
    promptIsOver = true;
    return;
  }
  if (*line != '\0') add_history(line);
  runLine(*promptSession, line);
  std::free(line);
  promptHasLine = true;
}

}  // namespace

void runPrompt(Session& session) {
  promptSession = &session;
  rl_completion_entry_function = nextCompletion;
  using_history();
  rl_callback_handler_install(prompt, didReadLine);
  while (!promptIsOver) {
    waitForInput(session);
    rl_callback_read_char();
    // The editor leaves the terminal to its own line mode once it has handed a line over.
    if (std::exchange(promptHasLine, false)) rl_callback_handler_install(prompt, didReadLine);
  }
  rl_callback_handler_remove();
}

void runStandardInput(Session& session) {
  constexpr int refusedStatus = 2;
  const auto runOrRefuse = [&session](const std::string& line) {
    if (!runLine(session, line.c_str())) session.raiseExitStatus(refusedStatus);
  };
  std::string pending;
  char bytes[4096];
  for (;;) {
    waitForInput(session);
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) pending.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end; (end = pending.find('\n')) != std::string::npos;) {
      const std::string line = pending.substr(0, end);
      pending.erase(0, end + 1);
      runOrRefuse(line);
    }
    if (count <= 0) {
      if (!pending.empty()) runOrRefuse(pending);
      return;
    }
  }
}

}  // namespace trovix::host
