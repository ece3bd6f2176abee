#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZRExport.h"
#include "ZRValue.h"

/// The rows of a query, read one after another. Valid only inside the completion of `executeQuery`.
class ZR_EXPORT ZRResultSet {
 public:
  virtual ~ZRResultSet();

  /// Moves to the next row, first to the first one; false at the end or when the row cannot be read.
  virtual bool next() = 0;

  /// The current row's value: integer, double, text, bytes or the null marker; absent when there is no such column.
  virtual ZRValue objectForColumn(std::string_view name) const = 0;

  /// The current row's value as a 64-bit integer; 0 when there is no such column.
  virtual std::int64_t int64ForColumnIndex(int index) const = 0;

  /// The current row's value as text; nothing for NULL and when there is no such column.
  virtual std::optional<std::string> textForColumnIndex(int index) const = 0;
};

/// The operations through which everything is stored. Each blocks its caller until it is done; calls from several
/// threads are applied one at a time.
class ZR_EXPORT ZRDownloadDataBaseProtocol {
 public:
  /// Null when the query failed. It must not call the store.
  using QueryCompletion = std::function<void(ZRResultSet* rows)>;

  virtual ~ZRDownloadDataBaseProtocol();

  /// Whether the file has a table of that name; false also when it cannot be read.
  virtual bool tableExists(std::string_view name) = 0;

  /// Runs one statement; false when it failed or when more text follows it.
  [[nodiscard]] virtual bool executeUpdate(std::string_view sql) = 0;

  /// Runs the statements in order, outside any transaction: a failing one stops nothing and undoes nothing. Returns
  /// how the last one ended; false for an empty list.
  [[nodiscard]] virtual bool executeBatchUpdate(const std::vector<std::string>& statements) = 0;

  /// The same in one transaction where the store has such: what the statements change reaches the file at once, and no
  /// other thread's statement comes in between. Where that transaction fails they are run as a batch. A store of the
  /// host's own need not know this operation.
  [[nodiscard]] virtual bool executeTogether(const std::vector<std::string>& statements);

  /// Runs the query and calls `completion`, when there is one, before it returns.
  virtual void executeQuery(std::string_view sql, const QueryCompletion& completion) = 0;
};
