#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "linux/TemporaryDirectory.h"
#include "torture/Lives.h"
#include "torture/Torture.h"

namespace trovix::torture {

void Report::note(const std::string& text) {
  // One write a line: parts fork, and a child must not find the parent's lines in its buffer.
  std::fputs((text + "\n").c_str(), stdout);
  std::fflush(stdout);
}

void Report::fail(const std::string& text) {
  ++failures_;
  note("FAILED " + text);
}

bool Report::expect(bool condition, const std::string& text) {
  if (!condition) fail(text);
  return condition;
}

int Report::failures() const noexcept { return failures_; }

namespace {

struct Part {
  const char* name;
  void (*run)(const Options& options, Report& report);
};

constexpr Part everyPart[] = {{"slow", slowServerFaults}, {"server", serverFaults}, {"threads", threads},
                              {"disk", diskFaults},       {"exits", exits},         {"kills", kills}};

std::string besideThisProgram(const char* name) {
  std::error_code ignored;
  return (std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path() / name).string();
}

int runAll(const std::vector<Part>& parts, Options options, std::chrono::seconds time) {
  Report report;
  std::string names;
  for (const Part& part : parts) names += std::string(names.empty() ? "" : " ") + part.name;
  report.note(fmt::format("{}: seed {}", names, options.seed));
  for (const Part& part : parts) {
    const platform::TemporaryDirectory directory;
    options.directory = directory.path();
    options.time = time / static_cast<std::chrono::seconds::rep>(parts.size());
    part.run(options, report);
  }
  report.note(fmt::format("{}: {} failed expectations", names, report.failures()));
  return report.failures() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace trovix::torture

int main(int argc, char** argv) {
  namespace torture = trovix::torture;
  if (argc == 3 && std::string_view(argv[1]) == torture::lifeArgument) return torture::live(argv[2]);
  CLI::App app("Tries what the library survives: killed hosts, faults of the server and of the disk, threads, exits");
  torture::Options options;
  options.seed = std::random_device{}();
  options.hostProgram = torture::besideThisProgram("trovix-host");
  double minutes = 8;
  std::vector<std::string> names;
  std::vector<std::string> known;
  for (const auto& part : torture::everyPart) known.emplace_back(part.name);
  app.add_option("PART", names, "the parts to run")->required()->check(CLI::IsMember(known));
  app.add_option("--minutes", minutes, "how long they may take together, in equal shares")
      ->check(CLI::Range(0.0, 24 * 60.0));
  app.add_option("--seed", options.seed, "of the pseudo-random choices");
  app.add_option("--host", options.hostProgram, "the host program that is killed");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  std::vector<torture::Part> parts;
  std::ranges::copy_if(torture::everyPart, std::back_inserter(parts),
                       [&](const torture::Part& part) { return std::ranges::find(names, part.name) != names.end(); });
  return torture::runAll(parts, options, std::chrono::seconds(static_cast<std::int64_t>(minutes * 60)));
}
