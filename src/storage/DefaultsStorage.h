#pragma once

#include "platform/Mutex.h"
#include "storage/TXSDKStorageProtocol.h"
#include "trovix/platform/UserDefaults.h"

namespace trovix {

/// What the stores over user defaults share: reads go to one domain; a store says only where its writes go.
class DefaultsStorage : public TXSDKStorageProtocol {
 public:
  std::optional<std::string> stringForKey(std::string_view key) override;
  double doubleForKey(std::string_view key) override;
  std::int64_t integerForKey(std::string_view key) override;
  std::optional<Dictionary> dictionaryForKey(std::string_view key) override;
  bool boolForKey(std::string_view key) override;

  void setString(std::string_view string, std::string_view key) override;
  void setDouble(double number, std::string_view key) override;
  void setInteger(std::int64_t number, std::string_view key) override;
  void setDictionary(const Dictionary& dictionary, std::string_view key) override;
  void setBool(bool flag, std::string_view key) override;

  std::optional<Dictionary> unarchiveForKey(std::string_view key) override;
  void archive(const Value& object, std::string_view key) override TX_EXCLUDES(archiveMutex_);
  void updateArchived(std::string_view key, const std::function<void(Dictionary&)>& change) override
      TX_EXCLUDES(archiveMutex_);
  void save() override {}
  void refresh() override;

  std::int64_t launchCnt() override;
  std::int64_t incrementLaunchCnt() override;
  std::int64_t inAppCnt() override;
  std::int64_t incrementInAppCnt() override;
  std::int64_t sessionCnt() override;
  std::int64_t incrementSessionCnt() override;
  bool shouldResolveDDL() override;

 protected:
  /// The domain that is read.
  [[nodiscard]] virtual platform::UserDefaults& source() = 0;
  /// Writes wherever the store keeps its values.
  virtual void store(std::string_view key, Value value) = 0;

 private:
  void archiveDictionary(const Dictionary& dictionary, std::string_view key) TX_REQUIRES(archiveMutex_);
  std::int64_t increment(std::string_view key) TX_EXCLUDES(counterMutex_);

  platform::Mutex archiveMutex_;  // from the read of an archive to its write
  platform::Mutex counterMutex_;  // from the read of a counter to its write; nothing else waits for it
};

}  // namespace trovix
