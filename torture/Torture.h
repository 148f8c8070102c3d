#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace trovix::torture {

/// What every part is given.
struct Options {
  /// How long the part may go on; it stops after the round in which this is over.
  std::chrono::seconds time{20};
  /// The host program that is run and killed.
  std::string hostProgram;
  /// A directory of the part's own, removed afterwards.
  std::string directory;
  /// Of the pseudo-random choices; printed, so that a run can be repeated.
  std::uint32_t seed = 0;
};

/// What a part found out. Any thread.
class Report {
 public:
  /// One finding of the part, printed at once.
  void note(const std::string& text);
  /// An expectation that does not hold. The program ends with status 1.
  void fail(const std::string& text);
  /// Fails unless the condition holds; says whether it does.
  bool expect(bool condition, const std::string& text);
  [[nodiscard]] int failures() const noexcept;

 private:
  std::atomic<int> failures_{0};
};

/// The host is killed at random moments while it logs events, and started again.
void kills(const Options& options, Report& report);
/// Every kind of fault at every endpoint of the server, but for those that last a minute and longer.
void serverFaults(const Options& options, Report& report);
/// Those, once at every endpoint, however long it takes: about six minutes, spent waiting.
void slowServerFaults(const Options& options, Report& report);
/// Full, read-only and damaged disks.
void diskFaults(const Options& options, Report& report);
/// The public interface from eight threads at once.
void threads(const Options& options, Report& report);
/// The process ends at every stage of a request, in time.
void exits(const Options& options, Report& report);

}  // namespace trovix::torture
