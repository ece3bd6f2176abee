#include "ZRTaskTable.h"

#include <array>
#include <charconv>
#include <utility>

namespace {

std::string_view typeWord(ZRColumnType type) {
  switch (type) {
    case ZRColumnType::None:
      break;
    case ZRColumnType::Integer:
      return "INTEGER";
    case ZRColumnType::Double:
      return "DOUBLE";
    case ZRColumnType::Text:
      return "TEXT";
  }
  return "";
}

std::string_view nullMarkerText(ZRColumnType type) {
  switch (type) {
    case ZRColumnType::None:
      break;
    case ZRColumnType::Integer:
      return "0";
    case ZRColumnType::Double:
      return "0.0";
    case ZRColumnType::Text:
      return "''";
  }
  return "(null)";
}

template <class Number>
std::string_view decimal(Number number, std::array<char, 32>& text) {  // the shortest form that reads back the same
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

/// Appends what stands for the value in a statement. Rows are written once a segment, so no text is made on the way.
void appendValue(std::string& sql, const ZRValue& value, ZRColumnType type) {
  std::array<char, 32> digits;
  switch (value.kind()) {
    case ZRValue::Kind::Text:
      sql.append(1, '\'').append(*value.asText()).append(1, '\'');
      break;
    case ZRValue::Kind::Null:
      sql += nullMarkerText(type);
      break;
    case ZRValue::Kind::Double:
      sql += decimal(*value.asDouble(), digits);
      break;
    case ZRValue::Kind::Boolean:
    case ZRValue::Kind::Signed:
      sql += decimal(value.int64Value(), digits);
      break;
    case ZRValue::Kind::Unsigned:
      sql += decimal(*value.asUnsigned(), digits);
      break;
    case ZRValue::Kind::Absent:
    case ZRValue::Kind::Bytes:
    case ZRValue::Kind::List:
    case ZRValue::Kind::Dictionary:
    case ZRValue::Kind::RequestHandler:
    case ZRValue::Kind::RecordHandler:
      sql += "(null)";
      break;
  }
}

void append(std::string& list, std::string_view item) {
  if (!list.empty()) list += ',';
  list += item;
}

std::string text(std::initializer_list<std::string_view> pieces) {
  std::string joined;
  for (const std::string_view piece : pieces) joined += piece;
  return joined;
}

/// Whether the value can stand in a statement: a text has to end where its literal does.
bool canStand(const ZRValue& value) {
  const std::string* const text = value.asText();
  return text == nullptr || (text->find('\'') == std::string::npos && text->find('\0') == std::string::npos);
}

}  // namespace

ZRTaskTable::ZRTaskTable(std::string_view name, ZRColumnMap columns, std::array<std::string_view, 2> keyColumns)
    : name_(name), columns_(std::move(columns)), keyColumns_(keyColumns) {
  std::string names;
  for (const ZRColumn& column : columns_) append(names, column.name);
  insertHead_ = text({"INSERT INTO ", name_, " (", names, ") VALUES ("});
}

std::string ZRTaskTable::createTableSQLWithColumns(const ZRColumnMap& columns, std::string_view tname) {
  std::string definitions;
  for (const ZRColumn& column : columns) definitions += text({",", column.name, " ", typeWord(column.type)});
  return text({"CREATE TABLE ", tname, " (pkid integer primary key ", definitions, ")"});
}

std::string ZRTaskTable::createIndexSQL() const {
  const auto& [first, second] = keyColumns_;
  return text({"CREATE INDEX IF NOT EXISTS ", name_, "_key ON ", name_, " (", first, ",", second, ")"});
}

std::string ZRTaskTable::deleteTaskSQL(std::int64_t pkid) const {
  return text({"DELETE from ", name_, " WHERE pkid = ", std::to_string(pkid)});
}

std::string ZRTaskTable::deleteInSQL(std::string_view column, const std::vector<std::int64_t>& values) const {
  std::string list;
  for (const std::int64_t value : values) append(list, std::to_string(value));
  return text({"DELETE from ", name_, " WHERE ", column, " IN ( ", list, " )"});
}

std::string ZRTaskTable::whereKeysAre(Texts head, Texts keys) const {
  std::string sql;
  sql.reserve(128);  // once: a segment has two such statements
  for (const std::string_view piece : head) sql += piece;
  std::string_view word = " WHERE ";
  auto column = keyColumns_.begin();
  for (const std::string_view key : keys) {
    sql.append(std::exchange(word, " and ")).append(*column++).append(" = ").append(key);
  }
  return sql;
}

std::string ZRTaskTable::querySQL(std::string_view column, Texts keys) const {
  return whereKeysAre({"SELECT ", column, " from ", name_}, keys);
}

std::string ZRTaskTable::deleteSQL(Texts keys) const {
  return whereKeysAre({"DELETE from ", name_}, keys);
}

std::optional<std::string> ZRTaskTable::queryPrimaryKeySQL(const ValueForKey& valueForKey) const {
  std::array<std::string, 2> keys;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const ZRValue value = valueForKey(keyColumns_[i]);
    if (value.isAbsent() || !canStand(value)) return std::nullopt;
    appendValue(keys[i], value, ZRColumnType::None);
  }
  return querySQL("pkid", {keys[0], keys[1]});
}

std::string ZRTaskTable::insertRowSQL(Texts values) const {
  std::string sql;
  sql.reserve(512);  // once: a playlist has many addresses
  sql += insertHead_;
  std::string_view separator;
  for (const std::string_view value : values) sql.append(std::exchange(separator, ",")).append(value);
  sql += ')';
  return sql;
}

std::optional<std::string> ZRTaskTable::insertSQL(const ValueForKey& valueForKey) const {
  std::string sql = insertHead_;
  std::string_view separator;
  for (const ZRColumn& column : columns_) {
    const ZRValue value = valueForKey(column.name);
    if (!canStand(value)) return std::nullopt;
    sql.append(std::exchange(separator, ","));
    appendValue(sql, value, column.type);
  }
  sql += ')';
  return sql;
}

std::optional<std::string> ZRTaskTable::updateSQL(const ValueForKey& valueForKey, std::int64_t pkid) const {
  std::string sql = text({"UPDATE ", name_, " SET"});
  char separator = ' ';
  for (const ZRColumn& column : columns_) {
    const ZRValue value = valueForKey(column.name);
    if (!canStand(value)) return std::nullopt;
    sql.append(1, std::exchange(separator, ',')).append(column.name).append(" = ");
    appendValue(sql, value, column.type);
  }
  sql.append(" WHERE pkid = ").append(std::to_string(pkid));
  return sql;
}

std::string ZRTaskTable::sqlValue(const ZRValue& value, ZRColumnType type) {
  std::string sql;
  appendValue(sql, value, type);
  return sql;
}
