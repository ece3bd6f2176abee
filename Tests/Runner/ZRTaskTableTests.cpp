#include <gtest/gtest.h>

#include "ZRTaskTable.h"

namespace {

TEST(ZRTaskTable, valuesAreRenderedByKindAndNullMarkersByColumn) {
  using enum ZRColumnType;
  for (const auto& [value, type, text] :
       {std::tuple(ZRValue("片名"), Text, "'片名'"), std::tuple(ZRValue::null(), Text, "''"),
        std::tuple(ZRValue::null(), Double, "0.0"), std::tuple(ZRValue::null(), Integer, "0"),
        std::tuple(ZRValue(), Text, "(null)"), std::tuple(ZRValue(INT64_MIN), Integer, "-9223372036854775808"),
        std::tuple(ZRValue(UINT64_MAX), Integer, "18446744073709551615"), std::tuple(ZRValue(true), Integer, "1"),
        std::tuple(ZRValue(0.1 + 0.2), Double, "0.30000000000000004"),
        std::tuple(ZRValue(ZRValue::List{}), Text, "(null)")}) {
    EXPECT_EQ(ZRTaskTable::sqlValue(value, type), text);
  }
}

TEST(ZRTaskTable, statementsAreTheseToTheLetter) {
  using enum ZRColumnType;
  const ZRTaskTable table("t", {{"url", Text}, {"b", Integer}, {"a", Integer}}, {"a", "b"});
  const auto values = [](std::string_view column) { return column == "url" ? ZRValue("u") : ZRValue(7); };
  for (const auto& [sql, text] :
       {std::pair(table.createIndexSQL(), "CREATE INDEX IF NOT EXISTS t_key ON t (a,b)"),
        {table.queryAllTasksSQL(), "SELECT * from t"},
        {table.queryPrimaryKeySQL(values).value_or(""), "SELECT pkid from t WHERE a = 7 and b = 7"},
        {table.querySQL("url", {"x", "-2"}), "SELECT url from t WHERE a = x and b = -2"},
        {table.deleteTaskSQL(3), "DELETE from t WHERE pkid = 3"},
        {table.deleteTasksSQL({3, 4}), "DELETE from t WHERE pkid IN ( 3,4 )"},
        {table.deleteSQL({"5"}), "DELETE from t WHERE a = 5"},
        {table.deleteSQL({"5", "6"}), "DELETE from t WHERE a = 5 and b = 6"},
        {table.deleteAnySQL({5, 6}), "DELETE from t WHERE a IN ( 5,6 )"},
        {table.insertRowSQL({"''", "1", "2"}), "INSERT INTO t (url,b,a) VALUES ('',1,2)"},
        {table.insertSQL(values).value_or(""), "INSERT INTO t (url,b,a) VALUES ('u',7,7)"},
        {table.updateSQL(values, 3).value_or(""), "UPDATE t SET url = 'u',b = 7,a = 7 WHERE pkid = 3"}}) {
    EXPECT_EQ(sql, text);
  }
  for (const ZRValue& value : {ZRValue("it's"), ZRValue(std::string(1, '\0')), ZRValue()}) {
    const auto same = [&value](std::string_view) { return value; };
    EXPECT_FALSE(table.queryPrimaryKeySQL(same));
    EXPECT_EQ(std::pair(table.insertSQL(same).has_value(), table.updateSQL(same, 3).has_value()),
              std::pair(value.isAbsent(), value.isAbsent()));
  }
}

}  // namespace
