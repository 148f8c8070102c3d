#pragma once

#include "core/TrovixLibParts.h"
#include "support/LogCapture.h"
#include "trovix/TrovixLib.h"

namespace trovix::test {

inline constexpr const char* developerKey = "AbCdEfGhIjKlMn";

/// A request to the event servers as the server reads it.
struct SentEvent {
  std::string url;
  Dictionary body;

  /// "(missing)" for a key that is not there.
  std::string text(std::string_view key) const {
    const Value* value = body.find(key);
    return value != nullptr ? description(*value) : "(missing)";
  }
};

/// What completions were told.
struct Outcome {
  std::optional<Dictionary> data;
  std::optional<Error> error;
};

/// An application with the SDK in it, process after process over one disk. The network is up and answers "{}".
struct TrovixLibFixture : testing::Test {
  TrovixLibFixture() { beginProcess(); }

  /// Ends the process, and begins the next one without making its SDK.
  void beginProcess();
  /// Makes the SDK, configures it and lets its start-up job run.
  void makeSdk();
  void restart() {
    beginProcess();
    makeSdk();
  }
  /// `start`, and everything that happens without time passing.
  std::shared_ptr<std::vector<Outcome>> start();
  /// `logEvent`, and the delay that it has.
  std::shared_ptr<std::vector<Outcome>> log(const std::string& name, std::optional<Dictionary> values = std::nullopt);
  static TrovixLib::Completion recordInto(const std::shared_ptr<std::vector<Outcome>>& outcomes);

  /// Decrypted, in the order of sending.
  std::vector<SentEvent> sent(std::string_view urlPart) const;
  SentEvent lastSent(std::string_view urlPart) const;
  TXSDKStorageProtocol& storage() { return *sdk->parts().storage; }
  std::size_t cachedFileCount() const { return device->fileSystem.entryCount("/data/Library/Caches/trovix-v1"); }
  void networkDown() { device->network.defaultAnswer = Answer::failure(platform::urlError::cannotConnectToHost); }
  void networkUp() { device->network.defaultAnswer = {}; }

  std::shared_ptr<SimulatedDisk> disk = std::make_shared<SimulatedDisk>();
  std::unique_ptr<SimulatedDevice> device;
  std::unique_ptr<TrovixLib> sdk;
  std::shared_ptr<TrovixLibDelegate> delegate;
  std::vector<Dictionary> successes;
  std::vector<Error> failures;
};

}  // namespace trovix::test
