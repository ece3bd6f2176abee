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

TEST(ZRStatementShape, takesTheValuesOfTheRunnersStatements) {
  expectShape("SELECT url from ts WHERE task_id = 1 and idx = 20", "SELECT url from ts WHERE task_id = ? and idx = ?",
              {1, 20});
  expectShape("SELECT pkid from t WHERE vid = 'v' and aid = '' ", "SELECT pkid from t WHERE vid = ? and aid = ? ",
              {"v", ""});
  expectShape("INSERT INTO ts (idx,url) VALUES (0,'aHR0')", "INSERT INTO ts (idx,url) VALUES (?,?)", {0, "aHR0"});
  expectShape("UPDATE t SET a = -7,b = '文 = 5, ? -- ;',c = 1.5,d = (null) WHERE pkid = 3",
              "UPDATE t SET a = ?,b = ?,c = 1.5,d = (null) WHERE pkid = ?", {-7, "文 = 5, ? -- ;", 3});
  expectShape("DELETE from t WHERE a = 9223372036854775807", "DELETE from t WHERE a = ?", {INT64_MAX});
}

TEST(ZRStatementShape, leavesEverythingElseAlone) {
  for (const std::string& value : {"1 -- "s, "'it''s'"s, "'x'1"s, "'x\0y'"s, "0x10"s, "x'00'"s, "b"s, "1 or b = 2"s}) {
    EXPECT_FALSE(ZRStatementShape::of("DELETE from t WHERE a = " + value)) << value;
  }
  for (const char* sql :
       {"", "SELECT * from t WHERE a = 1", "SELECT a from t", "DELETE from t WHERE \"a\" = 1", "UPDATE t SET a = 1",
        "INSERT INTO t (a) VALUES (1),(2)", "INSERT INTO t (a) VALUES (max(1,2))"}) {
    EXPECT_FALSE(ZRStatementShape::of(sql)) << sql;
  }
}

}  // namespace
