#include "torture/FaultCell.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "torture/FaultPhone.h"
#include "torture/FaultyServer.h"

namespace trovix::torture::faults {
namespace {

// What takes longer hangs, on a machine however slow.
constexpr std::chrono::seconds restLimit(60);
constexpr std::chrono::seconds patientLimit(400);
constexpr std::chrono::seconds endLimit(20);

class CellRun {
 public:
  CellRun(const Cell& cell, const std::string& directory, const std::string& authorityDirectory, Report& report)
      : cell_(cell),
        endpoint_(*cell.endpoint),
        fault_(*cell.fault),
        directory_(directory),
        report_(report),
        server_(endpoint_, authorityDirectory) {}

  void run() {
    begin();
    meetFault();
    if (isAbandoned() || endpoint_.isOncePerProcess) end();
    server_.heal();
    if (!phone_) begin();
    meetHealth();
    end();
    expect(server_.trouble().empty(), server_.trouble());
  }

 private:
  /// The process ends while the request is out.
  [[nodiscard]] bool isAbandoned() const { return fault_.isSilent && !endpoint_.hasOwnTimeout; }
  [[nodiscard]] bool isLost() const { return fault_.effect == Effect::lost; }
  [[nodiscard]] bool isEverybodys() const {
    return fault_.reach == Fault::Reach::absence || fault_.reach == Fault::Reach::plainText;
  }
  [[nodiscard]] bool isSettled() const {
    return std::ranges::find(endpoint_.settledBy, fault_.effect) != endpoint_.settledBy.end();
  }

  void expect(bool condition, const std::string& text) {
    if (!condition) report_.fail(cell_.name() + ": " + text);
  }
  void expectEqual(const std::string& what, const std::string& found, const std::string& expected) {
    expect(found == expected, fmt::format("{} is \"{}\", not \"{}\"", what, found, expected));
  }
  void expectEqual(const std::string& what, std::size_t found, std::size_t expected) {
    expect(found == expected, fmt::format("{}: {}, not {}", what, found, expected));
  }

  void begin() {
    phone_ = std::make_unique<Phone>(directory_, server_.address(), server_.authority());
    endpoint_.prepare(*phone_);
    expect(phone_->comesToRest(restLimit), "no rest before it");
    phone_->ears()->forget();
  }

  void end() {
    const std::weak_ptr<Ears> released = phone_->ears();
    const auto begun = std::chrono::steady_clock::now();
    phone_.reset();
    expect(std::chrono::steady_clock::now() - begun < endLimit, "the process hangs at its end");
    expect(released.expired(), "what was handed to the SDK stays behind");
  }

  void meetFault() {
    server_.fail(fault_);
    endpoint_.use(*phone_);
    if (isAbandoned()) {
      expect(server_.receives(restLimit), "no request came");
    } else {
      expect(phone_->comesToRest(fault_.isPatient ? patientLimit : restLimit), "no rest after it");
    }
    const char* outcome = isAbandoned() ? "" : endpoint_.outcome(fault_.effect);
    expectEqual("what is heard", phone_->ears()->heard(), outcome);
    const std::size_t kept = (endpoint_.isKept && isLost() ? 1 : 0) + (isEverybodys() ? endpoint_.keptElsewhere : 0);
    // Beside a request that is out for good there is no rest, and others may still be on their way.
    if (isAbandoned()) phone_->waitUntilCached(kept, restLimit);
    expectEqual("kept requests", phone_->cached(), kept);
    expectArrivals();
  }

  void expectArrivals() {
    const std::size_t received = server_.received();
    if (fault_.reach != Fault::Reach::request) return expectEqual("requests received", received, 0);
    // Whether a connection that ends without a word is tried once more is the client's affair.
    if (isLost()) return expect(received > 0, "no request came");
    expectEqual("requests received", received, fault_.effect == Effect::refused ? 1 + endpoint_.retries : 1);
  }

  void meetHealth() {
    // The completion hears of every attempt, as long as its process lives.
    const bool isHeardAgain = endpoint_.isKept && isLost() && !isAbandoned() && !endpoint_.isOncePerProcess;
    phone_->ears()->forget();
    endpoint_.use(*phone_);
    expect(phone_->comesToRest(restLimit), "no rest after the healthy answer");
    std::string outcome = endpoint_.outcome(Effect::healthy);
    if (isSettled()) outcome = endpoint_.settled != nullptr ? endpoint_.settled : endpoint_.outcome(fault_.effect);
    if (isHeardAgain && !outcome.empty()) outcome += ", " + outcome;
    expectEqual("what is heard of the healthy answer", phone_->ears()->heard(), outcome);
    expectEqual("requests kept in spite of the healthy answer", phone_->cached(), 0);
    expect(isSettled() || server_.received() > 0, "no request came to the healthy endpoint");
  }

  const Cell& cell_;
  const Endpoint& endpoint_;
  const Fault& fault_;
  const std::string directory_;
  Report& report_;
  FaultyServer server_;
  std::unique_ptr<Phone> phone_;
};

}  // namespace

void runCell(const Cell& cell, const std::string& directory, const std::string& authorityDirectory, Report& report) {
  CellRun(cell, directory, authorityDirectory, report).run();
}

}  // namespace trovix::torture::faults
