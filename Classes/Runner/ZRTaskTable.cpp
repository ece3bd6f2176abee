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

}  // namespace

ZRTaskTable::ZRTaskTable(std::string_view name, ZRColumnMap columns, std::string_view keyColumns)
    : name_(name), columns_(std::move(columns)), keyColumns_(keyColumns) {}

std::string ZRTaskTable::createTableSQLWithColumns(const ZRColumnMap& columns, std::string_view tname) {
  std::string definitions;
  for (const ZRColumn& column : columns) definitions += text({",", column.name, " ", typeWord(column.type)});
  return text({"CREATE TABLE ", tname, " (pkid integer primary key ", definitions, ")"});
}

std::string ZRTaskTable::createIndexSQL() const {
  return text({"CREATE INDEX IF NOT EXISTS ", name_, "_key ON ", name_, " (", keyColumns_, ")"});
}

std::string ZRTaskTable::queryAllTasksSQL() const {
  return text({"SELECT * from ", name_});
}

std::string ZRTaskTable::deleteTasksSQL(const std::vector<std::int64_t>& pkids) const {
  std::string list;
  for (const std::int64_t pkid : pkids) append(list, std::to_string(pkid));
  return text({"DELETE from ", name_, " WHERE pkid IN ( ", list, " )"});
}

std::string ZRTaskTable::deleteTaskSQL(std::int64_t pkid) const {
  return text({"DELETE from ", name_, " WHERE pkid = ", std::to_string(pkid)});
}

std::string ZRTaskTable::queryPrimaryKeySQL(std::int64_t vid, std::int32_t version) const {
  return text(
      {"SELECT pkid from ", name_, " WHERE vid = ", std::to_string(vid), " and version = ", std::to_string(version)});
}

std::optional<std::string> ZRTaskTable::insertSQL(const ValueForKey& valueForKey) const {
  std::string names;
  std::string values;
  for (const ZRColumn& column : columns_) {
    const ZRValue value = valueForKey(column.name);
    if (value.asText() != nullptr && !isQuotable(*value.asText())) return std::nullopt;
    append(names, column.name);
    append(values, {});
    appendValue(values, value, column.type);
  }
  return text({"INSERT INTO ", name_, " (", names, ") VALUES (", values, ")"});
}

std::optional<std::string> ZRTaskTable::updateSQL(const ValueForKey& valueForKey, std::int64_t pkid) const {
  std::string sql = text({"UPDATE ", name_, " SET"});
  char separator = ' ';
  for (const ZRColumn& column : columns_) {
    const ZRValue value = valueForKey(column.name);
    if (value.asText() != nullptr && !isQuotable(*value.asText())) return std::nullopt;
    sql.append(1, std::exchange(separator, ',')).append(column.name).append(" = ");
    appendValue(sql, value, column.type);
  }
  return sql.append(" WHERE pkid = ").append(std::to_string(pkid));
}

std::string ZRTaskTable::sqlValue(const ZRValue& value, ZRColumnType type) {
  std::string sql;
  appendValue(sql, value, type);
  return sql;
}

bool ZRTaskTable::isQuotable(std::string_view text) {
  return text.find('\'') == std::string_view::npos && text.find('\0') == std::string_view::npos;
}
