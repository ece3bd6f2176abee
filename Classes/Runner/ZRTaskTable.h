#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZRField.h"
#include "ZRValue.h"

/// A column: the name of the field it stores, and its SQL type.
struct ZRColumn {
  std::string_view name;
  ZRColumnType type;
};
using ZRColumnMap = std::vector<ZRColumn>;

/// The columns among a class's fields, in table order.
template <class T>
ZRColumnMap zrColumnsOf() {
  ZRColumnMap columns;
  for (const ZRField<T>& field : T::fields()) {
    if (field.column != ZRColumnType::None) columns.push_back({field.name, field.column});
  }
  return columns;
}

/// One table as SQL text: every statement is derived from the column map and the key columns. Runs nothing.
///
/// Texts stand in single quotes, unescaped. A text that holds a quote or a NUL could end its literal early, so there is
/// no statement with such a text: the builders give nothing. The key column "pkid" is in every table and in no map.
class ZRTaskTable final {
 public:
  /// The value of a column, by its name.
  using ValueForKey = std::function<ZRValue(std::string_view column)>;

  /// Values as they stand in a statement, in the order of their columns.
  using Texts = std::initializer_list<std::string_view>;

  /// `name` and the columns' names must outlive the table: they are literals. `keyColumns` are what rows are looked up
  /// by; an index is made over them.
  ZRTaskTable(std::string_view name, ZRColumnMap columns, std::array<std::string_view, 2> keyColumns);

  std::string_view name() const noexcept { return name_; }
  const ZRColumnMap& columns() const noexcept { return columns_; }

  static std::string createTableSQLWithColumns(const ZRColumnMap& columns, std::string_view tname);
  std::string createTaskTableSQL() const { return createTableSQLWithColumns(columns_, name_); }
  std::string createIndexSQL() const;

  // Of a task's row.
  std::string queryAllTasksSQL() const { return querySQL("*", {}); }
  std::string deleteTasksSQL(const std::vector<std::int64_t>& pkids) const { return deleteInSQL("pkid", pkids); }
  std::string deleteTaskSQL(std::int64_t pkid) const;
  std::optional<std::string> queryPrimaryKeySQL(const ValueForKey& valueForKey) const;  // nothing without a key, too
  std::optional<std::string> insertSQL(const ValueForKey& valueForKey) const;
  std::optional<std::string> updateSQL(const ValueForKey& valueForKey, std::int64_t pkid) const;

  // Of rows that hold those keys, one for each key column or for the first ones; of every row when there is none.
  std::string querySQL(std::string_view column, Texts keys) const;
  std::string deleteSQL(Texts keys) const;

  /// Of the rows whose first key is one of those.
  std::string deleteAnySQL(const std::vector<std::int64_t>& keys) const { return deleteInSQL(keyColumns_[0], keys); }

  /// With a value for each column.
  std::string insertRowSQL(Texts values) const;

  /// The text of one value: a text in quotes, a number in decimal, the null marker as the type's empty value, all else
  /// as "(null)", which SQLite reads as NULL.
  static std::string sqlValue(const ZRValue& value, ZRColumnType type);

 private:
  std::string whereKeysAre(Texts head, Texts keys) const;
  std::string deleteInSQL(std::string_view column, const std::vector<std::int64_t>& values) const;

  std::string_view name_;
  ZRColumnMap columns_;
  std::array<std::string_view, 2> keyColumns_;
  std::string insertHead_;  // up to the first value
};
