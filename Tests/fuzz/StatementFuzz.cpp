// A statement taken apart against the same statement as plain SQLite runs it: rows, outcome and table must be alike.

#include <string>

#include <sqlite3.h>

#include "Fuzz.h"
#include "ZRStatementShape.h"

namespace {

/// A small table in memory.
class Table final {
 public:
  Table() {
    sqlite3_open(":memory:", &db_);
    sqlite3_exec(db_,
                 "CREATE TABLE t (pkid integer primary key, idx INTEGER, task_id INTEGER, url TEXT);"
                 "INSERT INTO t (idx,task_id,url) VALUES (0,1,'a'),(1,1,'b'),(7,2,'')",
                 nullptr, nullptr, nullptr);
  }
  ~Table() { sqlite3_close(db_); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  /// Every value of every row; "failed" where it ends early.
  std::string run(const std::string& sql, const std::vector<ZRStatementShape::Literal>& literals = {}) {
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    std::string told;
    const bool hasNul = sql.find('\0') != std::string::npos;  // the store refuses those
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, &tail) != SQLITE_OK || hasNul || !isBlank(tail)) {
      sqlite3_finalize(statement);
      return "refused";
    }
    int index = 0;
    for (const auto& literal : literals) bind(statement, ++index, literal);
    int step = sqlite3_step(statement);
    for (; step == SQLITE_ROW; step = sqlite3_step(statement)) {
      for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        told += std::to_string(sqlite3_column_type(statement, column)) + ":";
        const void* const bytes = sqlite3_column_blob(statement, column);
        told.append(static_cast<const char*>(bytes), static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
        told += ",";
      }
    }
    sqlite3_finalize(statement);
    return step == SQLITE_DONE ? told : told + "failed";
  }

 private:
  static bool isBlank(std::string_view text) { return text.find_first_not_of(" \t\r\n;") == std::string_view::npos; }

  static void bind(sqlite3_stmt* statement, int index, const ZRStatementShape::Literal& literal) {
    if (const auto* const number = std::get_if<std::int64_t>(&literal)) {
      sqlite3_bind_int64(statement, index, *number);
    } else {
      const auto& text = std::get<std::string>(literal);
      sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }
  }

  sqlite3* db_ = nullptr;
};

}  // namespace

void fuzz(std::string_view input) {
  const auto shape = ZRStatementShape::of(input);
  if (!shape) return;
  Table plain;
  Table apart;
  expect(apart.run(shape->text, shape->literals) == plain.run(std::string(input)), "both tell the same");
  expect(apart.run("SELECT * FROM t") == plain.run("SELECT * FROM t"), "both leave the same table");
}
