#include "ZRDownloadDataBase.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include "ZRDownloadManager.h"
#include "ZRPath.h"

namespace {

constexpr const char* kFileName = "zrdownloadkit.db";
constexpr int kBusyTimeoutMilliseconds = 5000;

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n;") == std::string_view::npos;
}

/// A statement of `sql`; throws when it is not one statement and nothing else.
SQLite::Statement prepare(SQLite::Database& db, std::string_view sql) {
  if (sql.find('\0') != std::string_view::npos) throw SQLite::Exception("a NUL in the statement");
  SQLite::Statement statement(db, std::string(sql));
  const std::size_t parsed = statement.getExpandedSQL().size();  // nothing is bound, so this is its own text
  if (parsed < sql.size() && !isBlank(sql.substr(parsed))) throw SQLite::Exception("more than one statement");
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

std::unique_ptr<SQLite::Database> open(const std::string& path) {
  // The store lets one thread at a time through, so the connection needs no lock of its own.
  const int flags = SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX;
  try {
    auto db = std::make_unique<SQLite::Database>(path, flags, kBusyTimeoutMilliseconds);
    db->exec("PRAGMA trusted_schema=OFF");
    db->exec("PRAGMA journal_mode=WAL");  // reads the file's header, so it fails on what is no database
    db->exec("PRAGMA synchronous=NORMAL");
    return db;
  } catch (const SQLite::Exception&) {
    return nullptr;
  }
}

}  // namespace

class ZRDownloadDataBase::Turn final {
 public:
  explicit Turn(ZRDownloadDataBase& store) : store_(store) {
    if (store.db_ == nullptr || store.holder_ == std::this_thread::get_id()) return;
    lock_ = std::unique_lock(store.mutex_);
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
  std::unique_lock<std::mutex> lock_;
};

ZRDownloadDataBase::ZRDownloadDataBase() {
  const std::string path = ZRPath::append(ZRDownloadManager::downloadBasePath(), kFileName);
  db_ = open(path);
  const auto manager = ZRDownloadManager::sharedManager();
  if (db_) {
    manager->log(0, nullptr, "成功打开数据库:%@", path);
  } else {
    manager->log(2, nullptr, "can't open db:%@", path);
  }
}

ZRDownloadDataBase::~ZRDownloadDataBase() = default;

bool ZRDownloadDataBase::tableExists(std::string_view name) {
  const Turn turn(*this);
  try {
    return turn && db_->tableExists(std::string(name));
  } catch (const SQLite::Exception&) {
    return false;
  }
}

bool ZRDownloadDataBase::executeUpdate(std::string_view sql) {
  const Turn turn(*this);
  return turn && runStatement(sql);
}

bool ZRDownloadDataBase::executeBatchUpdate(const std::vector<std::string>& statements) {
  const Turn turn(*this);
  bool succeeded = false;
  if (turn) {
    for (const std::string& sql : statements) succeeded = runStatement(sql);
  }
  return succeeded;
}

void ZRDownloadDataBase::executeQuery(std::string_view sql, const QueryCompletion& completion) {
  const Turn turn(*this);
  if (!turn) return;
  try {
    SQLite::Statement statement = prepare(*db_, sql);
    ResultSet rows(statement);
    if (completion) completion(&rows);
  } catch (const SQLite::Exception&) {
    if (completion) completion(nullptr);
  }
}

bool ZRDownloadDataBase::runStatement(std::string_view sql) {
  try {
    SQLite::Statement statement = prepare(*db_, sql);
    while (statement.executeStep()) {
    }
    return true;
  } catch (const SQLite::Exception&) {
    return false;
  }
}
