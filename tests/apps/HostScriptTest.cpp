#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "host/Prompt.h"

namespace trovix::host {

// Runs the commands as the program does when they are piped into it.
[[noreturn]] void runPiped(const std::string& commands) {
  int ends[2];
  if (::pipe(ends) != 0 || ::write(ends[1], commands.data(), commands.size()) < 0) std::abort();
  ::close(ends[1]);
  ::dup2(ends[0], STDIN_FILENO);
  Options options;
  options.connectTo = "127.0.0.1:1";
  Session session(options);
  runStandardInput(session);
  session.finish();
}

TEST(HostScriptDeathTest, RefusesWhatCannotRunAndKeepsTheExitStatus) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const std::string deep = std::string(500, '[') + std::string(500, ']');
  const std::tuple<std::string, const char*, int> cases[] = {
      {"# nothing\n\n event \"two words\" {\"a\": 1}\nquit\nbogus", "line 5: unknown command: bogus", 0},
      {"push {\"deep\": " + deep + "}", "", 0},
      {"bogus\nquit", "line 1: unknown command: bogus", 2},
      {"active\nevent \"no end", "line 2: event: a quoted name has no end", 2},
      {"set bogus 1", "line 1: set: unknown property: bogus", 2},
      {"idle soon\n", "line 1: idle: not a number: soon", 2},
      {"active now", "line 1: active: too many arguments: now", 2},
      {"await nothing 0.001", "", 3},
      {"await nothing 1e-300\nevent", "line 2: event: missing argument NAME", 3}};
  for (const auto& [script, complaint, status] : cases) {
    const ParsedScript parsed = parseScript(script);
    const auto* why = std::get_if<std::string>(&parsed);
    EXPECT_EQ(why != nullptr ? *why : "", complaint);
    EXPECT_EXIT(runPiped(script), testing::ExitedWithCode(status), "") << script.substr(0, 40);
  }
}

// Types on a terminal, each line when the prompt for it is there.
[[noreturn]] void runTyped(const std::vector<std::string>& lines) {
  int screen = -1, terminal = -1;
  if (::openpty(&screen, &terminal, nullptr, nullptr, nullptr) != 0) std::abort();
  ::dup2(terminal, STDIN_FILENO);
  ::dup2(terminal, STDOUT_FILENO);
  ::setenv("TERM", "dumb", 1);
  ::alarm(60);  // without a prompt both sides wait
  std::thread([screen, lines] {
    for (const std::string& line : lines) {
      char byte = 0;
      for (std::string shown; !shown.ends_with("trovix> ") && ::read(screen, &byte, 1) == 1;) shown += byte;
      if (::write(screen, line.data(), line.size()) < 0) std::abort();
    }
    for (char rest[256]; ::read(screen, rest, sizeof rest) > 0;) continue;
  }).detach();
  Options options;
  options.connectTo = "127.0.0.1:1";
  Session session(options);
  runPrompt(session);
  session.finish();
}

TEST(HostScriptDeathTest, PromptsForEveryLineAndCompletesIt) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(runTyped({"active\r", "active\r", "qu\t\r"}), testing::ExitedWithCode(0), "");
}

}  // namespace trovix::host
