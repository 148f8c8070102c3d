#include <fmt/core.h>
#include <sanitizer/lsan_interface.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "torture/FaultCell.h"
#include "torture/Torture.h"

// Null without LeakSanitizer.
#pragma weak __lsan_do_recoverable_leak_check

namespace trovix::torture {
namespace {

using faults::Cell;
using Cells = std::vector<Cell>;

// Most of a cell is waiting, for a delay of the library's or a time-out.
constexpr std::size_t quickLanes = 12;
// Exit status of a process whose expectations did not all hold; sanitizers have others.
constexpr int failedStatus = 3;
// More than twice what a lane of patient faults takes; one that is longer on its way hangs.
constexpr std::chrono::seconds laneLimit(900);

/// Whether there is memory that nothing points to. LeakSanitizer says on standard error where it comes from.
bool isLeaking() { return __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0; }

/// Cells that are gone through one after another, by a process of their own: what crashes or leaks is its.
class Lane {
 public:
  Lane(Cells cells, std::string directory) : cells_(std::move(cells)), directory_(std::move(directory)) {}

  /// In a process without other threads.
  void start() {
    std::filesystem::create_directories(directory_);
    process_ = ::fork();
    if (process_ != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::exit(goThrough());
  }

  void finish(Report& report) const {
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + laneLimit;
    while (process_ > 0 && ::waitpid(process_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) ::kill(process_, SIGKILL);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const int exitStatus = process_ > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (exitStatus == 0) return;
    if (exitStatus == failedStatus) return report.fail("server: one of its processes found what stands above");
    report.fail(fmt::format("{}: the process ended with wait status {:#x}", latestCell(), status));
  }

 private:
  [[nodiscard]] std::string latestFile() const { return directory_ + "/latest"; }

  [[nodiscard]] int goThrough() const {
    ::setenv("TROVIX_DISABLE_LOGS", "1", 1);
    Report report;
    std::size_t number = 0;
    for (const Cell& cell : cells_) {
      std::ofstream(latestFile(), std::ios::trunc) << cell.name();
      const std::string own = fmt::format("{}/{}", directory_, ++number);
      faults::runCell(cell, own, directory_ + "/authority", report);
      std::error_code ignored;
      std::filesystem::remove_all(own, ignored);
      report.expect(!isLeaking(), cell.name() + ": memory leaks");
    }
    return report.failures() == 0 ? 0 : failedStatus;
  }

  [[nodiscard]] std::string latestCell() const {
    std::ifstream file(latestFile());
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const Cells cells_;
  const std::string directory_;
  pid_t process_ = -1;
};

/// Answers how many cells there were.
std::size_t run(std::vector<Cells> lists, const std::string& directory, Report& report) {
  std::vector<Lane> lanes;
  std::size_t count = 0;
  for (Cells& list : lists) {
    count += list.size();
    lanes.emplace_back(std::move(list), fmt::format("{}/lane-{}", directory, lanes.size()));
  }
  for (Lane& lane : lanes) lane.start();
  for (const Lane& lane : lanes) lane.finish(report);
  return count;
}

/// Neighbours go to different lanes, so that an endpoint with a long delay holds up none of them alone.
std::vector<Cells> quickCells() {
  std::vector<Cells> lists(quickLanes);
  std::size_t next = 0;
  for (const auto& endpoint : faults::everyEndpoint()) {
    for (const auto& fault : faults::everyFault()) {
      if (!fault.isPatient) lists[next++ % quickLanes].push_back({&endpoint, &fault});
    }
  }
  return lists;
}

/// They only wait, so every endpoint has a lane of its own.
std::vector<Cells> patientCells() {
  std::vector<Cells> lists;
  for (const auto& endpoint : faults::everyEndpoint()) {
    Cells& list = lists.emplace_back();
    for (const auto& fault : faults::everyFault()) {
      if (fault.isPatient) list.push_back({&endpoint, &fault});
    }
  }
  return lists;
}

void describe(const char* part, std::size_t cells, int failures, Report& report) {
  const std::size_t endpoints = faults::everyEndpoint().size();
  report.note(fmt::format(
      "{}: {} exchanges with faults at {} endpoints, {}, {}", part, cells, endpoints,
      failures == 0 ? "all as documented" : "not all as documented",
      __lsan_do_recoverable_leak_check != nullptr ? "each looked through for leaks" : "leaks not looked for"));
}

}  // namespace

void serverFaults(const Options& options, Report& report) {
  const auto end = std::chrono::steady_clock::now() + options.time;
  const int before = report.failures();
  std::size_t cells = 0;
  do {
    cells += run(quickCells(), options.directory, report);
  } while (std::chrono::steady_clock::now() < end);
  describe("server", cells, report.failures() - before, report);
}

void slowServerFaults(const Options& options, Report& report) {
  const int before = report.failures();
  const std::size_t cells = run(patientCells(), options.directory, report);
  describe("slow", cells, report.failures() - before, report);
}

}  // namespace trovix::torture
