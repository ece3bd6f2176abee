#include "ZRDownloadDataBase.h"

#include <algorithm>
#include <filesystem>
#include <list>

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include "ZRBackgroundQueue.h"
#include "ZRCheckpoints.h"
#include "ZRDownloadManager.h"
#include "ZRFileDescriptor.h"
#include "ZRPath.h"
#include "ZRStatementShape.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kFileName = "zrdownloadkit.db";
/// The shared memory, and a few statements' pages.
constexpr std::uintmax_t kRoomToShare = 256 << 10;

constexpr int kBusyTimeoutMilliseconds = 5000;

/// As many as the statements that the runners repeat, with room for a second task's.
constexpr std::size_t kKeptStatements = 16;

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n;") == std::string_view::npos;
}

/// A statement of `sql`, the only one of `db` at that time; throws when it is not one statement and nothing else.
SQLite::Statement prepare(SQLite::Database& db, std::string_view sql) {
  if (sql.find('\0') != std::string_view::npos) throw SQLite::Exception("a NUL in the statement");
  SQLite::Statement statement(db, std::string(sql));
  sqlite3_stmt* const parsed = ::sqlite3_next_stmt(db.getHandle(), nullptr);
  if (parsed == nullptr) throw SQLite::Exception("no statement");
  const std::string_view own = ::sqlite3_sql(parsed);
  if (!isBlank(sql.substr(own.size()))) throw SQLite::Exception("more than one statement");
  return statement;
}

ZRValue valueOf(const SQLite::Column& column) {
  switch (column.getType()) {
    case SQLITE_INTEGER:
      return column.getInt64();
    case SQLITE_FLOAT:
      return column.getDouble();
    case SQLITE_TEXT:
      return column.getString();
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const std::uint8_t*>(column.getBlob());
      return ZRValue::Bytes(bytes, bytes + column.getBytes());
    }
    default:
      return ZRValue::null();
  }
}

class ResultSet final : public ZRResultSet {
 public:
  explicit ResultSet(SQLite::Statement& statement) : statement_(statement) {}

  bool next() override {
    try {
      return statement_.executeStep();
    } catch (const SQLite::Exception&) {
      return false;  // a damaged page ends the rows
    }
  }

  ZRValue objectForColumn(std::string_view name) const override {
    try {
      return valueOf(statement_.getColumn(std::string(name).c_str()));
    } catch (const SQLite::Exception&) {
      return {};  // no such column
    }
  }

  std::int64_t int64ForColumnIndex(int index) const override {
    return hasColumn(index) ? statement_.getColumn(index).getInt64() : 0;
  }

  std::optional<std::string> textForColumnIndex(int index) const override {
    if (!hasColumn(index) || statement_.isColumnNull(index)) return std::nullopt;
    return statement_.getColumn(index).getString();
  }

 private:
  bool hasColumn(int index) const { return statement_.hasRow() && index >= 0 && index < statement_.getColumnCount(); }

  SQLite::Statement& statement_;
};

/// Statements that were parsed once and run again with other values. The one used last comes first.
class KeptStatements final {
 public:
  explicit KeptStatements(SQLite::Database& db) : db_(db) {}

  /// A statement for as long as it is used. Afterwards it holds no lock on the file and no values.
  struct Use {
    SQLite::Statement& statement;
    ~Use() {
      (void)statement.tryReset();  // repeats the error of the last step
      statement.clearBindings();   // to texts that go with the shape
    }
  };

  /// The statement of that shape with the values of `shape`, which outlives the use.
  Use take(const ZRStatementShape& shape) {
    auto found = std::ranges::find(kept_, shape.text, &Kept::text);
    if (found == kept_.end()) {
      if (kept_.size() == kKeptStatements) kept_.pop_back();
      found = kept_.insert(kept_.end(), Kept{shape.text, SQLite::Statement(db_, shape.text)});
    }
    kept_.splice(kept_.begin(), kept_, found);
    bind(kept_.front().statement, shape.literals);
    return {kept_.front().statement};
  }

  void clear() { kept_.clear(); }

 private:
  struct Kept {
    std::string text;
    SQLite::Statement statement;
  };

  static void bind(SQLite::Statement& statement, const std::vector<ZRStatementShape::Literal>& literals) {
    int index = 0;
    for (const ZRStatementShape::Literal& literal : literals) {
      ++index;
      std::visit([&](const auto& value) { bindOne(statement, index, value); }, literal);
    }
  }
  static void bindOne(SQLite::Statement& statement, int index, std::int64_t value) { statement.bind(index, value); }
  static void bindOne(SQLite::Statement& statement, int index, const std::string& value) {
    statement.bindNoCopy(index, value);
  }

  SQLite::Database& db_;
  std::list<Kept> kept_;
};

}  // namespace

/// The open file. One thread at a time.
class ZRDownloadDataBase::Connection final {
 public:
  /// Opens the file for this process alone where no memory can be shared with others, or where that would take the room
  /// that a statement needs: better so than not at all.
  static std::unique_ptr<Connection> open(const std::string& path) {
    for (const bool isShared : {hasRoomToShare(path), false}) {
      try {
        return std::make_unique<Connection>(path, isShared);
      } catch (const SQLite::Exception&) {
        // what no mode helps fails in both
      }
    }
    return nullptr;
  }

  // The store lets one thread at a time through, so the connection needs no lock of its own.
  Connection(const std::string& path, bool isShared)
      : db_(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX) {
    db_.exec("PRAGMA trusted_schema=OFF");
    db_.exec(isShared ? "PRAGMA locking_mode=NORMAL" : "PRAGMA locking_mode=EXCLUSIVE");
    writeAhead();
    db_.exec("PRAGMA synchronous=NORMAL");
    db_.setBusyTimeout(kBusyTimeoutMilliseconds);
    if (isShared) checkpoints_.emplace(db_.getHandle(), path);
  }

  bool tableExists(const std::string& name) const { return db_.tableExists(name); }

  /// Runs the statement to its end; false when it fails.
  bool run(std::string_view sql) {
    try {
      use(sql, [](SQLite::Statement& statement) {
        while (statement.executeStep()) {
        }
      });
      return true;
    } catch (const SQLite::Exception&) {
      return false;
    }
  }

  /// Runs the statements, whatever becomes of each; how the last one ended, false for none.
  bool runEach(const std::vector<std::string>& statements) {
    bool succeeded = false;
    for (const std::string& sql : statements) succeeded = run(sql);
    return succeeded;
  }

  /// The same in one transaction; nothing when that failed, and with it all that the statements did.
  std::optional<bool> runTogether(const std::vector<std::string>& statements) {
    if (!step("BEGIN")) return std::nullopt;
    bool succeeded = false;
    for (const std::string& sql : statements) {
      succeeded = run(sql);
      if (isOutsideTransaction()) return std::nullopt;  // a full disk, or the like, has rolled it back
    }
    if (step("COMMIT")) return succeeded;
    (void)step("ROLLBACK");
    return std::nullopt;
  }

  /// Calls `action` with the statement, ready to be stepped through. Throws when the text is no statement.
  template <class Action>
  void use(std::string_view sql, const Action& action) {
    if (const auto shape = ZRStatementShape::of(sql)) {
      const KeptStatements::Use kept = kept_.take(*shape);
      action(kept.statement);
    } else {
      kept_.clear();  // `prepare` knows its own as the only one
      SQLite::Statement statement = prepare(db_, sql);
      action(statement);
    }
  }

 private:
  /// Runs a statement without values that is kept as it stands.
  bool step(const char* sql) {
    try {
      (void)kept_.take({sql, {}}).statement.executeStep();
      return true;
    } catch (const SQLite::Exception&) {
      return false;
    }
  }

  bool isOutsideTransaction() const { return ::sqlite3_get_autocommit(db_.getHandle()) != 0; }

  static bool hasRoomToShare(const std::string& path) {
    std::error_code error;
    const fs::space_info space = fs::space(fs::path(path).parent_path(), error);
    return error || space.available >= kRoomToShare || fs::exists(path + "-shm", error);
  }

  /// Throws on what is no database or can only be read, and when there is no memory to share. A file in use by another
  /// process stays in the mode that it has; nobody waits for that.
  void writeAhead() {
    try {
      db_.exec("PRAGMA journal_mode=WAL");
      db_.exec("BEGIN IMMEDIATE; COMMIT");
    } catch (const SQLite::Exception& error) {
      if (error.getErrorCode() != SQLITE_BUSY) throw;
    }
  }

  SQLite::Database db_;
  KeptStatements kept_{db_};                  // goes before its file
  std::optional<ZRCheckpoints> checkpoints_;  // none where no other connection can be: then they are SQLite's own
};

class ZRDownloadDataBase::Turn final {
 public:
  explicit Turn(ZRDownloadDataBase& store) : store_(store) {
    if (!store.isOpen() || store.holder_ == std::this_thread::get_id()) return;
    lock_ = std::unique_lock(store.lock_);
    store.holder_ = std::this_thread::get_id();
  }
  ~Turn() {
    if (lock_) store_.holder_ = std::thread::id();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  explicit operator bool() const noexcept { return lock_.owns_lock(); }

 private:
  ZRDownloadDataBase& store_;
  std::unique_lock<ZRTicketLock> lock_;
};

ZRDownloadDataBase::ZRDownloadDataBase() {
  const std::string path = filePath();
  connection_ = Connection::open(path);
  const auto manager = ZRDownloadManager::sharedManager();
  if (isOpen()) {
    manager->log(ZRLogLevel::Trace, nullptr, "成功打开数据库:%@", path);
  } else {
    manager->log(ZRLogLevel::Failure, nullptr, "can't open db:%@", path);
  }
}

ZRDownloadDataBase::~ZRDownloadDataBase() {
  ZRBackgroundQueue::disk().waitUntilIdle();
}

std::string ZRDownloadDataBase::filePath() {
  return ZRPath::append(ZRDownloadManager::downloadBasePath(), kFileName);
}

// The log has no locks of SQLite's on it, which closing a second descriptor would take away.
void ZRDownloadDataBase::makeDurable(const std::string& path) {
  const ZRFileDescriptor log(::open((path + "-wal").c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (log) (void)::fsync(log.get());
}

bool ZRDownloadDataBase::tableExists(std::string_view name) {
  const Turn turn(*this);
  try {
    return turn && connection_->tableExists(std::string(name));
  } catch (const SQLite::Exception&) {
    return false;
  }
}

bool ZRDownloadDataBase::executeUpdate(std::string_view sql) {
  const Turn turn(*this);
  return turn && connection_->run(sql);
}

bool ZRDownloadDataBase::executeBatchUpdate(const std::vector<std::string>& statements) {
  const Turn turn(*this);
  return turn && connection_->runEach(statements);
}

bool ZRDownloadDataBase::executeTogether(const std::vector<std::string>& statements) {
  const Turn turn(*this);
  if (!turn) return false;
  const std::optional<bool> together = connection_->runTogether(statements);
  return together ? *together : connection_->runEach(statements);
}

void ZRDownloadDataBase::executeQuery(std::string_view sql, const QueryCompletion& completion) {
  const Turn turn(*this);
  if (!turn) return;
  try {
    connection_->use(sql, [&completion](SQLite::Statement& statement) {
      ResultSet rows(statement);
      if (completion) return completion(&rows);
      while (rows.next()) {
      }
    });
  } catch (const SQLite::Exception&) {
    if (completion) completion(nullptr);
  }
}
