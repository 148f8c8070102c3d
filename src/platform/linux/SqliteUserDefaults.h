#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/Mutex.h"
#include "platform/linux/ProcessExit.h"
#include "platform/linux/SqliteDatabase.h"
#include "trovix/platform/UserDefaults.h"

namespace trovix::platform {

class SystemLog;

/// One suite: an SQLite file behind an image in memory. Reads take the image's lock only, which no disk access holds.
/// Writes go to the image and then to the file. A damaged file is set aside and made anew from the image.
/// In the child of a fork it can only be read.
class SqliteUserDefaults : public UserDefaults {
 public:
  /// Reads what the file holds. One that cannot be opened leaves the suite in memory, and every write tries again.
  /// One made for another generation of the process, its parent's, opens nothing.
  SqliteUserDefaults(std::string path, SystemLog& log, unsigned generation = forkGeneration());
  ~SqliteUserDefaults() override;

  [[nodiscard]] std::shared_ptr<const Value> object(std::string_view key) const override;
  void set(std::string_view key, Value value) override;
  void remove(std::string_view key) override;
  void setAll(const std::vector<std::pair<std::string, std::optional<Value>>>& values) override;
  void refresh() override;

  /// Whether the file could be opened.
  [[nodiscard]] bool isPersistent() const;

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const noexcept { return std::hash<std::string_view>{}(key); }
  };
  using Image = std::unordered_map<std::string, std::shared_ptr<const Value>, Hash, std::equal_to<>>;
  /// A null pointer removes the key.
  struct Change {
    std::string key;
    std::shared_ptr<const Value> value;
  };

  [[nodiscard]] bool isOwnProcess() const noexcept { return generation_ == forkGeneration(); }
  void write(const std::vector<Change>& changes) TX_EXCLUDES(fileMutex_);
  void applyToImage(const std::vector<Change>& changes) TX_EXCLUDES(imageMutex_);
  void applyToFile(const std::vector<Change>& changes) TX_REQUIRES(fileMutex_);
  SqliteOutcome writeTransaction(const std::vector<Change>& changes) TX_REQUIRES(fileMutex_);
  SqliteOutcome writeChange(const Change& change) TX_REQUIRES(fileMutex_);
  [[nodiscard]] std::vector<Change> unwrittenChanges() const TX_REQUIRES(fileMutex_);
  bool ensureOpen() TX_REQUIRES(fileMutex_);
  SqliteOutcome openAndLoad() TX_REQUIRES(fileMutex_);
  SqliteOutcome load() TX_REQUIRES(fileMutex_);
  SqliteOutcome readRows(Image& image) TX_REQUIRES(fileMutex_);
  void carryOver(Image& image) TX_REQUIRES(fileMutex_);
  void close() TX_REQUIRES(fileMutex_);
  void dropStatements() TX_REQUIRES(fileMutex_);
  void adoptReplacement() TX_REQUIRES(fileMutex_);
  bool startAfresh() TX_REQUIRES(fileMutex_);
  void noteFailure() TX_REQUIRES(fileMutex_);

  SystemLog& log_;
  const unsigned generation_;

  // The file's lock is taken before the image's; the image changes only while both are held.
  mutable Mutex fileMutex_;
  SqliteDatabase database_ TX_GUARDED_BY(fileMutex_);
  SqliteStatement upsert_ TX_GUARDED_BY(fileMutex_);
  SqliteStatement delete_ TX_GUARDED_BY(fileMutex_);
  SqliteStatement selectAll_ TX_GUARDED_BY(fileMutex_);
  std::int64_t dataVersion_ TX_GUARDED_BY(fileMutex_) = 0;
  /// Whether the image is of a file that another one has taken the place of, and that one is not read yet.
  bool wasReplaced_ TX_GUARDED_BY(fileMutex_) = false;
  /// Keys whose last change is not in the file yet.
  std::set<std::string, std::less<>> unwritten_ TX_GUARDED_BY(fileMutex_);
  bool failureWasLogged_ TX_GUARDED_BY(fileMutex_) = false;

  mutable Mutex imageMutex_;
  Image image_ TX_GUARDED_BY(imageMutex_);
};

/// The standard defaults and the suites of the application group, one file each. Any thread.
class SqliteUserDefaultsDomains : public UserDefaultsDomains {
 public:
  /// The standard defaults are `standardPath`; the suite NAME is `groupDirectory`/NAME.sqlite. Nothing is opened yet.
  SqliteUserDefaultsDomains(std::string standardPath, std::string groupDirectory, SystemLog& log);
  ~SqliteUserDefaultsDomains() override;

  [[nodiscard]] UserDefaults& standard() override;
  /// A null pointer for a name that cannot be a file's, and when the file cannot be opened; then a later call tries
  /// again. Always so in the child of a fork.
  [[nodiscard]] UserDefaults* suite(std::string_view name) override;

 private:
  const std::string standardPath_;
  const std::string groupDirectory_;
  SystemLog& log_;
  const unsigned generation_ = forkGeneration();
  std::once_flag standardOnce_;
  std::unique_ptr<SqliteUserDefaults> standard_;
  Mutex mutex_;
  std::map<std::string, std::unique_ptr<SqliteUserDefaults>, std::less<>> suites_ TX_GUARDED_BY(mutex_);
};

}  // namespace trovix::platform
