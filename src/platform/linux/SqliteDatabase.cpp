#include "platform/linux/SqliteDatabase.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <utility>

#include "platform/PropertyList.h"
#include "trovix/platform/SystemLog.h"

namespace trovix::platform {
namespace {

/// How long a write waits for another process before it gives up.
constexpr int busyTimeoutMilliseconds = 1000;
/// The largest property list, and room for the rest of its row.
constexpr int maximumRowSize = static_cast<int>(maximumPropertyListSize) + 1024 * 1024;

SqliteOutcome outcomeOf(int code) {
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_DONE:
      return SqliteOutcome::done;
    case SQLITE_ROW:
      return SqliteOutcome::row;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_TOOBIG:
      return SqliteOutcome::corrupt;
    default:
      return SqliteOutcome::failed;
  }
}

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// Makes an empty file that only its owner may read; SQLite gives the files that belong to it the same mode.
void makePrivateFile(const std::string& path) {
  constexpr int flags = O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC;
  int file = ::open(path.c_str(), flags, 0600);
  if (file < 0 && errno == ENOENT) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    file = ::open(path.c_str(), flags, 0600);
  }
  if (file >= 0) ::close(file);
}

std::string readOnlyUri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      uri += fmt::format("%{:02x}", static_cast<unsigned char>(c));
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

/// Holds the directory of a file against other processes that set a damaged file aside.
class DirectoryLock {
 public:
  explicit DirectoryLock(const std::string& path)
      : directory_(::open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (directory_ >= 0) ::flock(directory_, LOCK_EX);
  }
  ~DirectoryLock() {
    if (directory_ >= 0) ::close(directory_);
  }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

 private:
  const int directory_;
};

std::string unusedName(const std::string& path) {
  const std::string base = fmt::format("{}.corrupt-{}", path, std::time(nullptr));
  std::string name = base;
  for (int i = 2; ::access(name.c_str(), F_OK) == 0; ++i) name = fmt::format("{}-{}", base, i);
  return name;
}

}  // namespace

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement_); }

SqliteStatement::SqliteStatement(SqliteStatement&& other) noexcept
    : statement_(std::exchange(other.statement_, nullptr)) {}

SqliteStatement& SqliteStatement::operator=(SqliteStatement&& other) noexcept {
  if (this != &other) sqlite3_finalize(std::exchange(statement_, std::exchange(other.statement_, nullptr)));
  return *this;
}

void SqliteStatement::bindNull(int parameter) noexcept { sqlite3_bind_null(statement_, parameter); }
void SqliteStatement::bind(int parameter, std::int64_t integer) noexcept {
  sqlite3_bind_int64(statement_, parameter, integer);
}
void SqliteStatement::bind(int parameter, double real) noexcept { sqlite3_bind_double(statement_, parameter, real); }
void SqliteStatement::bind(int parameter, std::string_view text) noexcept {
  sqlite3_bind_text64(statement_, parameter, text.data() != nullptr ? text.data() : "", text.size(), SQLITE_STATIC,
                      SQLITE_UTF8);
}
void SqliteStatement::bind(int parameter, const Data& bytes) noexcept {
  if (bytes.empty()) {
    sqlite3_bind_zeroblob(statement_, parameter, 0);
  } else {
    sqlite3_bind_blob64(statement_, parameter, bytes.data(), bytes.size(), SQLITE_STATIC);
  }
}

SqliteOutcome SqliteStatement::step() noexcept {
  if (statement_ == nullptr) return SqliteOutcome::failed;
  return outcomeOf(sqlite3_step(statement_));
}

void SqliteStatement::reset() noexcept {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

SqliteOutcome SqliteStatement::run() noexcept {
  SqliteOutcome outcome = step();
  while (outcome == SqliteOutcome::row) outcome = step();
  reset();
  return outcome;
}

std::int64_t SqliteStatement::integer(int column) noexcept { return sqlite3_column_int64(statement_, column); }
double SqliteStatement::real(int column) noexcept { return sqlite3_column_double(statement_, column); }
std::string_view SqliteStatement::bytes(int column) noexcept {
  const void* begin = sqlite3_column_blob(statement_, column);
  const int size = sqlite3_column_bytes(statement_, column);
  return begin == nullptr ? std::string_view()
                          : std::string_view(static_cast<const char*>(begin), static_cast<std::size_t>(size));
}
bool SqliteStatement::isNull(int column) noexcept { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

SqliteDatabase::SqliteDatabase(std::string path, std::string schema)
    : path_(std::move(path)), schema_(std::move(schema)) {}

SqliteDatabase::~SqliteDatabase() { close(); }

SqliteOutcome SqliteDatabase::open() {
  makePrivateFile(path_);
  SqliteOutcome outcome = openFile(path_, SQLITE_OPEN_READWRITE);
  if (outcome == SqliteOutcome::done) outcome = configure();
  if (outcome == SqliteOutcome::failed && handle_ != nullptr) {
    // What a statement failed with goes with the connection.
    lastFailure_ = lastFailure();
    close();
  }
  return outcome;
}

SqliteOutcome SqliteDatabase::openForReading() {
  // What an interrupted process left in the log would be missing from the file as it stands.
  struct stat log {};
  if (!isRegularFile(path_) || (::stat((path_ + "-wal").c_str(), &log) == 0 && log.st_size > 0)) {
    return SqliteOutcome::failed;
  }
  return openFile(readOnlyUri(path_), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

SqliteOutcome SqliteDatabase::openFile(const std::string& name, int flags) {
  const int code = sqlite3_open_v2(name.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  const SqliteOutcome outcome = note(code);
  if (outcome != SqliteOutcome::done) {
    close();
    return outcome;
  }
  struct stat status {};
  if (::stat(path_.c_str(), &status) == 0) {
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
  sqlite3_extended_result_codes(handle_, 1);
  sqlite3_busy_timeout(handle_, busyTimeoutMilliseconds);
  sqlite3_limit(handle_, SQLITE_LIMIT_LENGTH, maximumRowSize);
  return outcome;
}

SqliteOutcome SqliteDatabase::configure() {
  SqliteStatement version;
  SqliteOutcome outcome = prepare("PRAGMA user_version", version);
  if (outcome == SqliteOutcome::done) outcome = version.step();
  if (outcome != SqliteOutcome::row) return outcome == SqliteOutcome::done ? SqliteOutcome::failed : outcome;
  const bool isNew = version.integer(0) == 0;
  version = {};
  outcome = isNew ? create() : verify();
  if (outcome != SqliteOutcome::done) return outcome;
  return execute("PRAGMA synchronous=NORMAL");
}

SqliteOutcome SqliteDatabase::create() {
  // Nothing that could be lost is in the file yet, so it is made without waiting for the disk, the log's header
  // included (the version is the first thing that goes through the log). Small pages make small writes.
  if (const auto outcome = execute("PRAGMA page_size=1024; PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY;");
      outcome == SqliteOutcome::corrupt) {
    return outcome;
  }
  const std::string tables = "BEGIN IMMEDIATE; " + schema_ + "; COMMIT;";
  if (const auto outcome = execute(tables.c_str()); outcome != SqliteOutcome::done) return outcome;
  return execute("PRAGMA journal_mode=WAL; PRAGMA user_version=1;");
}

SqliteOutcome SqliteDatabase::verify() {
  SqliteStatement check;
  SqliteOutcome outcome = prepare("PRAGMA quick_check(1)", check);
  if (outcome == SqliteOutcome::done) outcome = check.step();
  if (outcome != SqliteOutcome::row) return outcome == SqliteOutcome::done ? SqliteOutcome::failed : outcome;
  if (check.bytes(0) == "ok") return SqliteOutcome::done;
  lastFailure_ = check.bytes(0);
  return SqliteOutcome::corrupt;
}

void SqliteDatabase::close() noexcept {
  dataVersion_ = {};
  sqlite3_close(std::exchange(handle_, nullptr));
}

bool SqliteDatabase::setAside(SystemLog& log) {
  const std::string why = lastFailure();
  // A checkpoint on closing would write into the damaged file.
  if (handle_ != nullptr) sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  close();
  const DirectoryLock lock(path_);
  if (wasReplaced() || ::access(path_.c_str(), F_OK) != 0) return true;
  const std::string name = unusedName(path_);
  if (::rename(path_.c_str(), name.c_str()) != 0) {
    log.write(fmt::format("Damaged database {} cannot be set aside (errno {})", path_, errno));
    return false;
  }
  for (const char* suffix : {"-wal", "-shm"}) ::rename((path_ + suffix).c_str(), (name + suffix).c_str());
  log.write(fmt::format("Damaged database {} set aside as {} ({})", path_, name, why));
  return true;
}

bool SqliteDatabase::wasReplaced() const {
  struct stat status {};
  return ::stat(path_.c_str(), &status) == 0 && (status.st_dev != device_ || status.st_ino != inode_);
}

SqliteOutcome SqliteDatabase::prepare(std::string_view text, SqliteStatement& statement) {
  statement = {};
  const int code = sqlite3_prepare_v3(handle_, text.data(), static_cast<int>(text.size()), SQLITE_PREPARE_PERSISTENT,
                                      &statement.statement_, nullptr);
  const SqliteOutcome outcome = note(code);
  // A statement of ours that does not fit the tables: they are somebody else's.
  return (code & 0xff) == SQLITE_ERROR ? SqliteOutcome::corrupt : outcome;
}

SqliteOutcome SqliteDatabase::execute(const char* text) {
  return note(sqlite3_exec(handle_, text, nullptr, nullptr, nullptr));
}

std::int64_t SqliteDatabase::dataVersion() {
  if (dataVersion_.statement_ == nullptr && prepare("PRAGMA data_version", dataVersion_) != SqliteOutcome::done) {
    return 0;
  }
  const std::int64_t version = dataVersion_.step() == SqliteOutcome::row ? dataVersion_.integer(0) : 0;
  dataVersion_.reset();
  return version;
}

void SqliteDatabase::rollBack() {
  lastFailure_ = lastFailure();
  // After some failures SQLite has done it already.
  if (sqlite3_get_autocommit(handle_) == 0) sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

std::string SqliteDatabase::lastFailure() const {
  const bool isCurrent = handle_ != nullptr && (sqlite3_errcode(handle_) & 0xff) != SQLITE_OK &&
                         (sqlite3_errcode(handle_) & 0xff) < SQLITE_ROW;
  return isCurrent ? sqlite3_errmsg(handle_) : lastFailure_;
}

SqliteOutcome SqliteDatabase::note(int code) {
  const SqliteOutcome outcome = outcomeOf(code);
  if (outcome == SqliteOutcome::corrupt || outcome == SqliteOutcome::failed) {
    lastFailure_ = handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(code);
  }
  return outcome;
}

}  // namespace trovix::platform
