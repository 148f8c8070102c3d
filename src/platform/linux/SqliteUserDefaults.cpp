#include "platform/linux/SqliteUserDefaults.h"

#include <fmt/core.h>

#include "platform/WithoutNulls.h"
#include "platform/linux/StoredValue.h"
#include "trovix/platform/SystemLog.h"

namespace trovix::platform {
namespace {

constexpr const char* schema =
    "CREATE TABLE IF NOT EXISTS defaults (key TEXT NOT NULL PRIMARY KEY, kind INTEGER NOT NULL, value) WITHOUT ROWID";
constexpr const char* upsertText =
    "INSERT INTO defaults (key, kind, value) VALUES (?1, ?2, ?3) "
    "ON CONFLICT (key) DO UPDATE SET kind = excluded.kind, value = excluded.value";
constexpr const char* deleteText = "DELETE FROM defaults WHERE key = ?1";
constexpr const char* selectText = "SELECT key, kind, value FROM defaults";

std::shared_ptr<const Value> shared(Value value) {
  return value.isNull() ? nullptr : std::make_shared<const Value>(withoutNulls(std::move(value)));
}

}  // namespace

SqliteUserDefaults::SqliteUserDefaults(std::string path, SystemLog& log, unsigned generation)
    : log_(log), generation_(generation), database_(std::move(path), schema) {
  if (!isOwnProcess()) return;
  const MutexLock lock(fileMutex_);
  if (ensureOpen()) return;
  // What cannot be written may still be read.
  if (database_.openForReading() == SqliteOutcome::done) {
    if (database_.prepare(selectText, selectAll_) == SqliteOutcome::done) load();
    close();
  }
}

SqliteUserDefaults::~SqliteUserDefaults() {
  if (!isOwnProcess()) return;
  const MutexLock lock(fileMutex_);
  if (!unwritten_.empty()) applyToFile({});
}

bool SqliteUserDefaults::isPersistent() const {
  const MutexLock lock(fileMutex_);
  return database_.isOpen();
}

std::shared_ptr<const Value> SqliteUserDefaults::object(std::string_view key) const {
  const MutexLock lock(imageMutex_);
  const auto found = image_.find(key);
  return found != image_.end() ? found->second : nullptr;
}

void SqliteUserDefaults::set(std::string_view key, Value value) {
  std::vector<Change> changes;
  changes.push_back({std::string(key), shared(std::move(value))});
  write(changes);
}

void SqliteUserDefaults::remove(std::string_view key) { set(key, Value(nullptr)); }

void SqliteUserDefaults::setAll(const std::vector<std::pair<std::string, std::optional<Value>>>& values) {
  std::vector<Change> changes;
  changes.reserve(values.size());
  for (const auto& [key, value] : values) changes.push_back({key, value ? shared(*value) : nullptr});
  if (!changes.empty()) write(changes);
}

void SqliteUserDefaults::refresh() {
  if (!isOwnProcess()) return;
  const MutexLock lock(fileMutex_);
  if (wasReplaced_ || !unwritten_.empty()) applyToFile({});
  if (!database_.isOpen()) return;
  if (database_.wasReplaced()) {
    adoptReplacement();
    if (!unwritten_.empty()) applyToFile({});
    return;
  }
  const std::int64_t version = database_.dataVersion();
  if (version == dataVersion_ && version != 0) return;
  if (load() == SqliteOutcome::corrupt) startAfresh();
}

void SqliteUserDefaults::write(const std::vector<Change>& changes) {
  if (!isOwnProcess()) return;
  const MutexLock lock(fileMutex_);
  applyToImage(changes);
  applyToFile(changes);
}

void SqliteUserDefaults::applyToImage(const std::vector<Change>& changes) {
  // Values that are replaced are freed after the lock.
  std::vector<std::shared_ptr<const Value>> replaced;
  replaced.reserve(changes.size());
  const MutexLock lock(imageMutex_);
  for (const Change& change : changes) {
    if (change.value != nullptr) {
      replaced.push_back(std::exchange(image_[change.key], change.value));
    } else if (const auto found = image_.find(change.key); found != image_.end()) {
      replaced.push_back(std::move(found->second));
      image_.erase(found);
    }
  }
}

void SqliteUserDefaults::applyToFile(const std::vector<Change>& changes) {
  const auto keepForLater = [&]() TX_REQUIRES(fileMutex_) {
    for (const Change& change : changes) unwritten_.insert(change.key);
    noteFailure();
  };
  if (!database_.isOpen() || database_.wasReplaced()) {
    // What is opened now replaces the image, but for these keys.
    for (const Change& change : changes) unwritten_.insert(change.key);
    adoptReplacement();
  }
  if (!database_.isOpen()) return keepForLater();
  // An earlier failure is made good together with this write, from the image, which has both.
  SqliteOutcome outcome = SqliteOutcome::done;
  if (unwritten_.empty()) {
    outcome = changes.size() == 1 ? writeChange(changes.front()) : writeTransaction(changes);
  } else {
    for (const Change& change : changes) unwritten_.insert(change.key);
    outcome = writeTransaction(unwrittenChanges());
  }
  switch (outcome) {
    case SqliteOutcome::done:
    case SqliteOutcome::row:
      unwritten_.clear();
      failureWasLogged_ = false;
      return;
    case SqliteOutcome::corrupt:
      if (startAfresh()) return;
      return keepForLater();
    case SqliteOutcome::failed:
      return keepForLater();
  }
}

SqliteOutcome SqliteUserDefaults::writeTransaction(const std::vector<Change>& changes) {
  SqliteOutcome outcome = database_.execute("BEGIN IMMEDIATE");
  if (outcome != SqliteOutcome::done) return outcome;
  for (const Change& change : changes) {
    outcome = writeChange(change);
    if (outcome != SqliteOutcome::done) break;
  }
  if (outcome == SqliteOutcome::done) outcome = database_.execute("COMMIT");
  if (outcome != SqliteOutcome::done) database_.rollBack();
  return outcome;
}

SqliteOutcome SqliteUserDefaults::writeChange(const Change& change) {
  if (change.value != nullptr) {
    Data buffer;
    upsert_.bind(1, std::string_view(change.key));
    const bool canBeKept = bindStoredValue(upsert_, 2, 3, *change.value, buffer);
    if (canBeKept) return upsert_.run();
    // Rather nothing after a restart than the value before.
    upsert_.reset();
  }
  delete_.bind(1, std::string_view(change.key));
  return delete_.run();
}

std::vector<SqliteUserDefaults::Change> SqliteUserDefaults::unwrittenChanges() const {
  std::vector<Change> changes;
  changes.reserve(unwritten_.size());
  for (const std::string& key : unwritten_) changes.push_back({key, object(key)});
  return changes;
}

bool SqliteUserDefaults::ensureOpen() {
  if (database_.isOpen()) return true;
  const SqliteOutcome outcome = openAndLoad();
  if (outcome == SqliteOutcome::done) return true;
  if (outcome == SqliteOutcome::corrupt && database_.setAside(log_) && openAndLoad() == SqliteOutcome::done) {
    return true;
  }
  noteFailure();
  close();
  return false;
}

SqliteOutcome SqliteUserDefaults::openAndLoad() {
  close();
  SqliteOutcome outcome = database_.open();
  if (outcome == SqliteOutcome::done) outcome = database_.prepare(upsertText, upsert_);
  if (outcome == SqliteOutcome::done) outcome = database_.prepare(deleteText, delete_);
  if (outcome == SqliteOutcome::done) outcome = database_.prepare(selectText, selectAll_);
  if (outcome == SqliteOutcome::done) outcome = load();
  if (outcome != SqliteOutcome::done) dropStatements();
  return outcome;
}

SqliteOutcome SqliteUserDefaults::load() {
  // Read before the rows: a write in between is seen again next time rather than missed.
  const std::int64_t version = database_.dataVersion();
  Image image;
  const SqliteOutcome outcome = readRows(image);
  if (outcome != SqliteOutcome::done) return outcome;
  if (std::exchange(wasReplaced_, false)) carryOver(image);
  for (Change& change : unwrittenChanges()) {
    if (change.value != nullptr) {
      image[change.key] = std::move(change.value);
    } else {
      image.erase(change.key);
    }
  }
  dataVersion_ = version;
  const MutexLock lock(imageMutex_);
  image_.swap(image);
  return outcome;
}

SqliteOutcome SqliteUserDefaults::readRows(Image& image) {
  SqliteOutcome outcome = selectAll_.step();
  for (; outcome == SqliteOutcome::row; outcome = selectAll_.step()) {
    if (auto value = readStoredValue(selectAll_, 1, 2)) image.emplace(selectAll_.bytes(0), std::move(value));
  }
  selectAll_.reset();
  return outcome;
}

void SqliteUserDefaults::carryOver(Image& image) {
  // The other process knew its own values only; what it did not know goes into its file.
  const MutexLock lock(imageMutex_);
  for (const auto& [key, value] : image_) {
    if (image.try_emplace(key, value).second) unwritten_.insert(key);
  }
}

void SqliteUserDefaults::close() {
  dropStatements();
  database_.close();
}

void SqliteUserDefaults::dropStatements() {
  upsert_ = SqliteStatement();
  delete_ = SqliteStatement();
  selectAll_ = SqliteStatement();
}

void SqliteUserDefaults::adoptReplacement() {
  // Stays so when the opening fails: a later one must find it.
  if (database_.isOpen()) wasReplaced_ = true;
  close();
  ensureOpen();
}

bool SqliteUserDefaults::startAfresh() {
  {
    const MutexLock lock(imageMutex_);
    for (const auto& [key, value] : image_) unwritten_.insert(key);
  }
  dropStatements();
  if (!database_.setAside(log_) || !ensureOpen()) return false;
  if (writeTransaction(unwrittenChanges()) != SqliteOutcome::done) return false;
  unwritten_.clear();
  return true;
}

void SqliteUserDefaults::noteFailure() {
  if (std::exchange(failureWasLogged_, true)) return;
  log_.write(fmt::format("User defaults {} cannot be written: {}", database_.path(), database_.lastFailure()));
}

SqliteUserDefaultsDomains::SqliteUserDefaultsDomains(std::string standardPath, std::string groupDirectory,
                                                     SystemLog& log)
    : standardPath_(std::move(standardPath)), groupDirectory_(std::move(groupDirectory)), log_(log) {}

SqliteUserDefaultsDomains::~SqliteUserDefaultsDomains() = default;

UserDefaults& SqliteUserDefaultsDomains::standard() {
  std::call_once(standardOnce_,
                 [this] { standard_ = std::make_unique<SqliteUserDefaults>(standardPath_, log_, generation_); });
  return *standard_;
}

UserDefaults* SqliteUserDefaultsDomains::suite(std::string_view name) {
  if (generation_ != forkGeneration()) return nullptr;
  if (name.empty() || name.find('/') != std::string_view::npos || name.find('\0') != std::string_view::npos) {
    return nullptr;
  }
  const MutexLock lock(mutex_);
  if (const auto found = suites_.find(name); found != suites_.end()) return found->second.get();
  auto opened = std::make_unique<SqliteUserDefaults>(fmt::format("{}/{}.sqlite", groupDirectory_, name), log_);
  if (!opened->isPersistent()) return nullptr;
  return suites_.emplace(name, std::move(opened)).first->second.get();
}

}  // namespace trovix::platform
