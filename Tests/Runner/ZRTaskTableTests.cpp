#include <gtest/gtest.h>

#include "ZRTaskTable.h"

using namespace std::string_literals;

namespace {

const ZRTaskTable& table() {
  static const ZRTaskTable table(
      "x_meta_tb", {{"vid", ZRColumnType::Integer}, {"name", ZRColumnType::Text}, {"stamp", ZRColumnType::Double}},
      "vid,name");
  return table;
}

ZRTaskTable::ValueForKey row(ZRValue vid, ZRValue name, ZRValue stamp) {
  return [=](std::string_view column) { return column == "vid" ? vid : column == "name" ? name : stamp; };
}

TEST(ZRTaskTable, statementsAreBuiltFromTheColumnMap) {
  EXPECT_EQ(table().createTaskTableSQL(),
            "CREATE TABLE x_meta_tb (pkid integer primary key ,vid INTEGER,name TEXT,stamp DOUBLE)");
  EXPECT_EQ(table().createIndexSQL(), "CREATE INDEX IF NOT EXISTS x_meta_tb_key ON x_meta_tb (vid,name)");
  EXPECT_EQ(table().deleteTasksSQL({1, 20}), "DELETE from x_meta_tb WHERE pkid IN ( 1,20 )");
  EXPECT_EQ(table().updateSQL(row(7, {}, 1e300), 3),
            "UPDATE x_meta_tb SET vid = 7,name = (null),stamp = 1e+300 WHERE pkid = 3");
  EXPECT_EQ(table().insertSQL(row(7, "it's", 0.5)), std::nullopt);
  EXPECT_EQ(table().updateSQL(row(7, "\0"s, 0.5), 3), std::nullopt);
}

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

}  // namespace
