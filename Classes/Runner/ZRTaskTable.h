#pragma once

#include <cstdint>
#include <functional>
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

/// One task table as SQL text: every statement is derived from the column map. Runs nothing.
///
/// Texts stand in single quotes, unescaped. A text that holds a quote or a NUL could end its literal early, so there is
/// no statement with such a text: the builders give nothing. The key column "pkid" is in every table and in no map.
class ZRTaskTable final {
 public:
  /// The value of a column, by its name.
  using ValueForKey = std::function<ZRValue(std::string_view column)>;

  /// `name` and the columns' names must outlive the table: they are literals. `keyColumns` are what rows are looked up
  /// by; an index is made over them.
  ZRTaskTable(std::string_view name, ZRColumnMap columns, std::string_view keyColumns);

  std::string_view name() const noexcept { return name_; }
  const ZRColumnMap& columns() const noexcept { return columns_; }

  static std::string createTableSQLWithColumns(const ZRColumnMap& columns, std::string_view tname);
  std::string createTaskTableSQL() const { return createTableSQLWithColumns(columns_, name_); }
  std::string createIndexSQL() const;
  std::string queryAllTasksSQL() const;
  std::string deleteTasksSQL(const std::vector<std::int64_t>& pkids) const;
  std::string deleteTaskSQL(std::int64_t pkid) const;
  std::string queryPrimaryKeySQL(std::int64_t vid, std::int32_t version) const;
  std::optional<std::string> insertSQL(const ValueForKey& valueForKey) const;
  std::optional<std::string> updateSQL(const ValueForKey& valueForKey, std::int64_t pkid) const;

  /// The text of one value: a text in quotes, a number in decimal, the null marker as the type's empty value, all else
  /// as "(null)", which SQLite reads as NULL.
  static std::string sqlValue(const ZRValue& value, ZRColumnType type);

  /// Whether a text may stand between quotes.
  static bool isQuotable(std::string_view text);

 private:
  std::string_view name_;
  ZRColumnMap columns_;
  std::string_view keyColumns_;
};
