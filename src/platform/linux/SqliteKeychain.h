#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "platform/linux/KeychainSeal.h"
#include "platform/linux/ProcessExit.h"
#include "platform/linux/SqliteDatabase.h"
#include "trovix/platform/Keychain.h"

namespace trovix::platform {

class SystemLog;

/// Secrets in DIRECTORY/keychain.sqlite, each value sealed with AES-256-GCM under a random key that lies beside it in
/// DIRECTORY/keychain.key; both files have mode 0600.
/// What that protects against is told where the directory is chosen (`LinuxPlatformOptions::dataDirectory`).
///
/// Items whose seal does not open (the key file was lost or replaced) count as not there. A damaged database is set
/// aside and a fresh one is made. Everything is opened on first use, and the file stays open.
/// In the child of a fork it is not available.
class SqliteKeychain : public Keychain {
 public:
  SqliteKeychain(const std::string& directory, SystemLog& log);
  ~SqliteKeychain() override;

  std::int32_t add(const Dictionary& attributes) override;
  std::int32_t copyMatching(const Dictionary& query, Data& result) override;
  std::int32_t update(const Dictionary& query, const Dictionary& attributesToUpdate) override;
  std::int32_t remove(const Dictionary& query) override;

 private:
  struct Item;
  /// How an operation ended: with a status when the file could be worked on.
  struct Ending {
    SqliteOutcome outcome = SqliteOutcome::done;
    std::int32_t status = keychainStatus::success;
  };

  template <typename Operation>
  std::int32_t perform(Operation operation) TX_EXCLUDES(mutex_);
  template <typename Operation>
  Ending inTransaction(Operation operation) TX_REQUIRES(mutex_);
  Ending addItem(const Item& item) TX_REQUIRES(mutex_);
  Ending copyFirst(const Item& query, Data& result) TX_REQUIRES(mutex_);
  Ending updateMatching(const Item& query, const Item& changes) TX_REQUIRES(mutex_);
  Ending removeMatching(const Item& query) TX_REQUIRES(mutex_);

  SqliteOutcome readMatching(const Item& query, std::vector<Item>& items) TX_REQUIRES(mutex_);
  bool unseal(Item& item) TX_REQUIRES(mutex_);
  Ending writeItem(const Item& item) TX_REQUIRES(mutex_);
  SqliteOutcome deleteItem(std::int64_t identifier) TX_REQUIRES(mutex_);
  const SealingKey* sealingKey() TX_REQUIRES(mutex_);
  void noteFailure() TX_REQUIRES(mutex_);

  const std::string keyPath_;
  SystemLog& log_;
  const unsigned generation_ = forkGeneration();
  Mutex mutex_;
  SqliteDatabase database_ TX_GUARDED_BY(mutex_);
  std::optional<SealingKey> key_ TX_GUARDED_BY(mutex_);
  /// Whether the operation that runs could neither read nor make the key.
  bool isKeyMissing_ TX_GUARDED_BY(mutex_) = false;
  /// Until something is written again.
  bool failureWasLogged_ TX_GUARDED_BY(mutex_) = false;
};

}  // namespace trovix::platform
