#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZRStatementShape.h"

namespace {

using Literals = std::vector<ZRStatementShape::Literal>;
using namespace std::string_literals;

void expectShape(const char* sql, const char* text, const Literals& literals) {
  const auto shape = ZRStatementShape::of(sql);
  ASSERT_TRUE(shape) << sql;
  EXPECT_EQ(shape->text, text);
  EXPECT_THAT(shape->literals, testing::ElementsAreArray(literals)) << sql;
}

TEST(ZRStatementShape, takesValuesOutAndLeavesTheRest) {
  expectShape("SELECT url from ts WHERE task_id = 1 and idx = 20", "SELECT url from ts WHERE task_id = ? and idx = ?",
              {1, 20});
  expectShape("INSERT INTO ts (idx,url) VALUES (0,'aHR0')", "INSERT INTO ts (idx,url) VALUES (?,?)", {0, "aHR0"});
  expectShape("UPDATE t SET a = 7,b = '',c = 1.5,d = (null) WHERE pkid = 3",
              "UPDATE t SET a = ?,b = ?,c = 1.5,d = (null) WHERE pkid = ?", {7, "", 3});
  expectShape("DELETE from t WHERE a = 9223372036854775807 ; \n", "DELETE from t WHERE a = ? ; \n", {INT64_MAX});
  expectShape("UPDATE t SET a = '文 = 5, ? -- ;' WHERE b=-2", "UPDATE t SET a = ? WHERE b=-?", {"文 = 5, ? -- ;", 2});
  // What only looks like a value stays: numbers of other kinds, blobs, names, columns, positions.
  expectShape("UPDATE t SET a1 = 1e3,b = 0x10,c = x'00',d = 9223372036854775808,e = 2",
              "UPDATE t SET a1 = 1e3,b = 0x10,c = x'00',d = 9223372036854775808,e = ?", {2});
  expectShape("SELECT 1, 'x', max(a, 2) from t WHERE a IN (1,2) and b = 3 ORDER BY 1, 2 LIMIT 5",
              "SELECT 1, 'x', max(a, 2) from t WHERE a IN (1,2) and b = ? ORDER BY 1, 2 LIMIT 5", {3});
  expectShape("INSERT INTO t SELECT a, 1 FROM u WHERE a = 4 ORDER BY a, 1",
              "INSERT INTO t SELECT a, 1 FROM u WHERE a = ? ORDER BY a, 1", {4});
  expectShape("INSERT INTO t (a) VALUES (1),(2)", "INSERT INTO t (a) VALUES (?),(2)", {1});
}

TEST(ZRStatementShape, leavesEverythingElseAlone) {
  // Nothing to take out, no statement that repeats, no parameters, two statements, comments, quoted names, parameters
  // of its own, an escaped quote, and what is no statement.
  for (const std::string& sql :
       {""s, "SELECT count(*) FROM t"s, "CREATE TABLE t (a INTEGER DEFAULT = 5)"s, "PRAGMA user_version = 5"s,
        "DELETE from t WHERE a = 1; DELETE from t"s, "DELETE from t WHERE a = 1 -- and b = 2"s,
        "DELETE from t WHERE a = 1 /* and b = 2 */"s, "DELETE from t WHERE \"a = 5\" = 1"s,
        "DELETE from t WHERE [a = 5] = 1"s, "DELETE from t WHERE a = 1 and b = ?"s,
        "DELETE from t WHERE a = 1 and b = :b"s, "DELETE from t WHERE a = 'it''s' and b = 1"s,
        "DELETE from t WHERE a = 1 and b = 'open"s, "DELETE from t WHERE a = 1\0 and b = 2"s}) {
    EXPECT_FALSE(ZRStatementShape::of(sql)) << sql;
  }
}

}  // namespace
