#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZRStatementShape.h"

namespace {

using Literal = ZRStatementShape::Literal;
using testing::ElementsAreArray;

struct Taken {
  std::string sql;
  std::string text;
  std::vector<Literal> literals;
};

class ZRStatementShapeTest : public testing::TestWithParam<Taken> {};

TEST_P(ZRStatementShapeTest, takesValuesOutAndLeavesTheRest) {
  const auto shape = ZRStatementShape::of(GetParam().sql);
  ASSERT_TRUE(shape);
  EXPECT_EQ(shape->text, GetParam().text);
  EXPECT_THAT(shape->literals, ElementsAreArray(GetParam().literals));
}

INSTANTIATE_TEST_SUITE_P(
    Statements, ZRStatementShapeTest,
    testing::Values(
        Taken{"SELECT url from ts WHERE task_id = 1 and idx = 20",
              "SELECT url from ts WHERE task_id = ? and idx = ?",
              {1, 20}},
        Taken{"INSERT INTO ts (idx,url) VALUES (0,'aHR0')", "INSERT INTO ts (idx,url) VALUES (?,?)", {0, "aHR0"}},
        Taken{"UPDATE t SET a = 7,b = '',c = 1.5,d = (null) WHERE pkid = 3",
              "UPDATE t SET a = ?,b = ?,c = 1.5,d = (null) WHERE pkid = ?",
              {7, "", 3}},
        Taken{"DELETE from t WHERE a = 9223372036854775807 ; \n", "DELETE from t WHERE a = ? ; \n", {INT64_MAX}},
        Taken{"UPDATE t SET a = '文 = 5, ? -- ;' WHERE b=-2", "UPDATE t SET a = ? WHERE b=-?", {"文 = 5, ? -- ;", 2}},
        // What only looks like a value stays: numbers of other kinds, blobs, names, columns, positions.
        Taken{"UPDATE t SET a1 = 1e3,b = 0x10,c = x'00',d = 9223372036854775808,e = 2",
              "UPDATE t SET a1 = 1e3,b = 0x10,c = x'00',d = 9223372036854775808,e = ?",
              {2}},
        Taken{"SELECT 1, 'x', max(a, 2) from t WHERE a IN (1,2) and b = 3 ORDER BY 1, 2 LIMIT 5",
              "SELECT 1, 'x', max(a, 2) from t WHERE a IN (1,2) and b = ? ORDER BY 1, 2 LIMIT 5",
              {3}},
        Taken{"INSERT INTO t SELECT a, 1 FROM u WHERE a = 4 ORDER BY a, 1",
              "INSERT INTO t SELECT a, 1 FROM u WHERE a = ? ORDER BY a, 1",
              {4}},
        Taken{"INSERT INTO t (a) VALUES (1),(2)", "INSERT INTO t (a) VALUES (?),(2)", {1}}));

TEST(ZRStatementShape, leavesEverythingElseAlone) {
  for (const std::string& sql : {
           std::string(),
           std::string("SELECT count(*) FROM t"),                     // nothing to take out
           std::string("CREATE TABLE t (a INTEGER DEFAULT = 5)"),     // no statement that repeats
           std::string("PRAGMA user_version = 5"),                    // takes no parameters
           std::string("DELETE from t WHERE a = 1; DELETE from t"),   // two statements
           std::string("DELETE from t WHERE a = 1 -- and b = 2"),     // a comment
           std::string("DELETE from t WHERE a = 1 /* and b = 2 */"),  //
           std::string("DELETE from t WHERE \"a = 5\" = 1"),          // quoted names
           std::string("DELETE from t WHERE [a = 5] = 1"),            //
           std::string("DELETE from t WHERE a = 1 and b = ?"),        // parameters of its own
           std::string("DELETE from t WHERE a = 1 and b = :b"),       //
           std::string("DELETE from t WHERE a = 'it''s' and b = 1"),  // an escaped quote
           std::string("DELETE from t WHERE a = 1 and b = 'open"),    // no statement
           std::string("DELETE from t WHERE a = 1\0 and b = 2", 34),  //
       }) {
    EXPECT_FALSE(ZRStatementShape::of(sql)) << sql;
  }
}

}  // namespace
