#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "trovix/Value.h"

struct sqlite3;
struct sqlite3_stmt;

namespace trovix::platform {

class SystemLog;

/// What a statement or an opening came to.
enum class SqliteOutcome : std::uint8_t {
  done,
  /// A row is there to be read.
  row,
  /// The file is no database, is damaged, or holds something else than it should.
  corrupt,
  /// Anything else: no space, no permission, locked for too long. It may succeed later.
  failed,
};

/// One prepared statement of a database, bound and stepped again and again. It must not outlive its database.
class SqliteStatement {
 public:
  SqliteStatement() = default;
  ~SqliteStatement();
  SqliteStatement(SqliteStatement&& other) noexcept;
  SqliteStatement& operator=(SqliteStatement&& other) noexcept;

  // Parameters are numbered from 1. Bound text and bytes must live until the statement is reset.
  void bindNull(int parameter) noexcept;
  void bind(int parameter, std::int64_t integer) noexcept;
  void bind(int parameter, double real) noexcept;
  void bind(int parameter, std::string_view text) noexcept;
  void bind(int parameter, const Data& bytes) noexcept;

  SqliteOutcome step() noexcept;
  /// Makes it ready for the next use and forgets what was bound.
  void reset() noexcept;
  /// Steps to the end and resets.
  SqliteOutcome run() noexcept;

  // The current row. Views are valid until the next step.
  [[nodiscard]] std::int64_t integer(int column) noexcept;
  [[nodiscard]] double real(int column) noexcept;
  [[nodiscard]] std::string_view bytes(int column) noexcept;
  [[nodiscard]] bool isNull(int column) noexcept;

 private:
  friend class SqliteDatabase;
  sqlite3_stmt* statement_ = nullptr;
};

/// One database file in WAL mode: a committed write survives the death of the process. Not thread-safe.
class SqliteDatabase {
 public:
  /// `schema` makes the tables where they are missing.
  SqliteDatabase(std::string path, std::string schema);
  ~SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

  /// Opens or makes the file, with permissions 0600, and the directories above it. Statements of an earlier opening
  /// must be gone.
  SqliteOutcome open();
  /// Opens a file that cannot be opened for writing (its directory is read-only, say), as it stands and for reading
  /// only.
  SqliteOutcome openForReading();
  void close() noexcept;
  [[nodiscard]] bool isOpen() const noexcept { return handle_ != nullptr; }
  /// Closes the file and gives it, with what belongs to it, another name beside it; one line goes to the log. Another
  /// process that did so before is noticed, and its fresh file left alone. False when the file is still there.
  bool setAside(SystemLog& log);

  /// Whether another file has taken the name since this one was opened, as happens when another process set it aside.
  [[nodiscard]] bool wasReplaced() const;

  SqliteOutcome prepare(std::string_view text, SqliteStatement& statement);
  SqliteOutcome execute(const char* text);
  /// Ends a transaction that failed; `lastFailure` goes on telling why it did.
  void rollBack();
  /// Changes whenever another connection has written; 0 when it cannot be read.
  [[nodiscard]] std::int64_t dataVersion();
  /// The last failure in words.
  [[nodiscard]] std::string lastFailure() const;
  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  SqliteOutcome openFile(const std::string& name, int flags);
  SqliteOutcome configure();
  SqliteOutcome create();
  SqliteOutcome verify();
  SqliteOutcome note(int code);

  const std::string path_;
  const std::string schema_;
  sqlite3* handle_ = nullptr;
  SqliteStatement dataVersion_;
  // The file that was opened last, to tell it from one that has taken its name since.
  std::uint64_t device_ = 0;
  std::uint64_t inode_ = 0;
  std::string lastFailure_;
};

}  // namespace trovix::platform
