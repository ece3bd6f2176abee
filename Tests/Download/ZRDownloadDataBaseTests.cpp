#include <filesystem>
#include <thread>

#include "LibraryFixture.h"
#include "ZRDownloadDataBase.h"

namespace {

class ZRDownloadDataBaseTest : public LibraryFixture {
 protected:
  ZRDownloadDataBaseTest() {
    manager()->setLoggerHandler([this](const ZRDictionary& record, const ZRValue&) {
      log_.push_back({record["level"].uint64Value(), *record["msg"].textValue()});
    });
    EXPECT_TRUE(store_.executeUpdate("CREATE TABLE t (pkid integer primary key ,a INTEGER,b TEXT,c DOUBLE,d BLOB)"));
  }

  std::int64_t count() {
    std::int64_t rows = -1;
    store_.executeQuery("SELECT count(*) FROM t", [&rows](ZRResultSet* set) {
      if (set != nullptr && set->next()) rows = set->int64ForColumnIndex(0);
    });
    return rows;
  }

  ZRDownloadDataBase store_;
};

TEST_F(ZRDownloadDataBaseTest, opensItsFileInTheDownloadFolder) {
  const std::string path = downloadFolder() + "/zrdownloadkit.db";
  const ZRDownloadDataBase second;
  EXPECT_TRUE(second.isOpen());
  EXPECT_TRUE(logged(0, "成功打开数据库:" + path));
  EXPECT_TRUE(readFile(path).starts_with("SQLite format 3"));
  EXPECT_TRUE(store_.tableExists("t"));
  EXPECT_FALSE(store_.tableExists("t' OR '1"));
}

TEST_F(ZRDownloadDataBaseTest, readsValuesOfEveryKind) {
  ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (a,b,c,d) VALUES (9007199254740993,'文',1.5,x'00ff')"));
  ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (a) VALUES ((null))"));
  int rows = 0;
  store_.executeQuery("SELECT * FROM t", [&](ZRResultSet* set) {
    ASSERT_NE(set, nullptr);
    ASSERT_TRUE(set->next());
    EXPECT_EQ(set->objectForColumn("a"), ZRValue(9007199254740993));
    EXPECT_EQ(set->objectForColumn("b"), ZRValue("文"));
    EXPECT_EQ(set->objectForColumn("c"), ZRValue(1.5));
    EXPECT_EQ(set->objectForColumn("d"), ZRValue(ZRValue::Bytes({0x00, 0xff})));
    EXPECT_TRUE(set->objectForColumn("e").isAbsent());
    EXPECT_EQ(set->textForColumnIndex(2), "文");
    EXPECT_EQ(set->textForColumnIndex(99), std::nullopt);
    EXPECT_EQ(set->int64ForColumnIndex(-1), 0);
    ASSERT_TRUE(set->next());
    EXPECT_TRUE(set->objectForColumn("a").isNull());
    EXPECT_EQ(set->textForColumnIndex(2), std::nullopt);
    EXPECT_FALSE(set->next());
    ++rows;
  });
  EXPECT_EQ(rows, 1);
}

TEST_F(ZRDownloadDataBaseTest, oneCallRunsOneStatement) {
  EXPECT_TRUE(store_.executeUpdate("INSERT INTO t (a) VALUES (1) ; \n"));
  for (const std::string& sql :
       {std::string("INSERT INTO t (a) VALUES (2); DELETE FROM t"), std::string("INSERT INTO t (a) VALUES (3); --"),
        std::string("INSERT INTO t (a) VALUES (4)\0", 29), std::string(""), std::string("no statement"),
        std::string("INSERT INTO t (b) VALUES ('open")}) {
    EXPECT_FALSE(store_.executeUpdate(sql)) << sql;
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(ZRDownloadDataBaseTest, repeatedStatementsTakeTheirOwnValuesEachTime) {
  const auto insert = [this](const std::string& values) {
    return store_.executeUpdate("INSERT INTO t (a,b,c) VALUES (" + values + ")");
  };
  const auto textOf = [this](std::int64_t a) {
    std::string text = "none";
    store_.executeQuery("SELECT b from t WHERE a = " + std::to_string(a), [&text](ZRResultSet* rows) {
      if (rows != nullptr && rows->next()) text = rows->textForColumnIndex(0).value_or("null");
    });
    return text;
  };
  ASSERT_TRUE(store_.executeUpdate("CREATE UNIQUE INDEX one ON t (a)"));
  EXPECT_TRUE(insert("1,'文?',2"));
  EXPECT_FALSE(insert("1,'again',2"));  // and the next one of its shape runs all the same
  EXPECT_TRUE(insert("-9223372036854775808,'least',2"));
  EXPECT_TRUE(insert("9223372036854775807,'most',2"));
  EXPECT_TRUE(insert("3,(null),2"));
  EXPECT_EQ(textOf(1), "文?");
  EXPECT_EQ(textOf(2), "none");
  EXPECT_EQ(textOf(INT64_MIN), "least");
  EXPECT_EQ(textOf(INT64_MAX), "most");
  EXPECT_EQ(textOf(3), "null");
}

TEST_F(ZRDownloadDataBaseTest, repeatedStatementsFollowAChangedTable) {
  const auto first = [this] {
    std::optional<std::string> text;
    store_.executeQuery("SELECT * from t WHERE a = 1", [&text](ZRResultSet* rows) {
      if (rows != nullptr && rows->next()) text = rows->objectForColumn("b").textValue();
    });
    return text;
  };
  ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (a,b) VALUES (1,'before')"));
  EXPECT_EQ(first(), "before");
  ASSERT_TRUE(store_.executeUpdate("DROP TABLE t"));  // which a statement that still holds the table would refuse
  EXPECT_EQ(first(), std::nullopt);
  ASSERT_TRUE(store_.executeUpdate("CREATE TABLE t (b TEXT,x INTEGER,a INTEGER)"));
  ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (a,b) VALUES (1,'after')"));
  EXPECT_EQ(first(), "after");
}

TEST_F(ZRDownloadDataBaseTest, moreStatementsThanAreKeptStillRun) {
  std::string condition = "a = 1";
  for (int round = 0; round < 2; ++round, condition = "a = 1") {
    for (int i = 0; i < 40; ++i, condition += " and a = 1") {
      EXPECT_TRUE(store_.executeUpdate("DELETE from t WHERE " + condition)) << i;
    }
  }
}

TEST_F(ZRDownloadDataBaseTest, batchGoesOnAfterAFailureAndReportsTheLast) {
  EXPECT_FALSE(store_.executeBatchUpdate({}));
  EXPECT_TRUE(store_.executeBatchUpdate({"broken", "INSERT INTO t (a) VALUES (1)"}));
  EXPECT_FALSE(store_.executeBatchUpdate({"INSERT INTO t (a) VALUES (2)", "broken"}));
  EXPECT_EQ(count(), 2);
}

TEST_F(ZRDownloadDataBaseTest, queryReachesItsCallbackExactlyOnceAlsoWhenItFails) {
  int calls = 0;
  store_.executeQuery("SELECT * FROM missing", [&calls](ZRResultSet* set) {
    EXPECT_EQ(set, nullptr);
    ++calls;
  });
  EXPECT_EQ(calls, 1);
  store_.executeQuery("INSERT INTO t (a) VALUES (1)", nullptr);
  EXPECT_EQ(count(), 0);  // a query is run by reading its rows
}

TEST_F(ZRDownloadDataBaseTest, callbackThatCallsTheStoreFailsInPlaceOfHanging) {
  store_.executeQuery("SELECT 1", [this](ZRResultSet*) { EXPECT_FALSE(store_.executeUpdate("DELETE FROM t")); });
  EXPECT_TRUE(store_.executeUpdate("DELETE FROM t"));
}

TEST_F(ZRDownloadDataBaseTest, threadsTakeTurns) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int n = 0; n < 50; ++n) EXPECT_TRUE(store_.executeUpdate("INSERT INTO t (a) VALUES (1)"));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count(), 200);
}

TEST_F(ZRDownloadDataBaseTest, damagedPagesFailTheirStatementsAlone) {
  const std::string path = downloadFolder() + "/zrdownloadkit.db";
  for (int i = 0; i < 2000; ++i)
    ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (b) VALUES ('" + std::string(100, 'x') + "')"));
  ASSERT_TRUE(store_.executeUpdate("PRAGMA wal_checkpoint(TRUNCATE)"));
  std::string bytes = readFile(path);
  std::fill(bytes.begin() + 8192, bytes.end(), '\xff');
  writeFile(path, bytes);
  ZRDownloadDataBase reopened;
  reopened.executeQuery("SELECT * FROM t", [](ZRResultSet* set) {
    int rows = 0;
    while (set != nullptr && set->next()) ++rows;
    EXPECT_LT(rows, 2000);
  });
  EXPECT_FALSE(reopened.executeUpdate("INSERT INTO t (a) VALUES (1)"));
}

TEST_F(ZRDownloadDataBaseTest, withoutAFileEveryOperationSaysNo) {
  std::filesystem::remove_all(downloadFolder());
  writeFile(downloadFolder() + "/zrdownloadkit.db/folder", "a folder stands where the file should be");
  ZRDownloadDataBase closed;
  EXPECT_FALSE(closed.isOpen());
  EXPECT_FALSE(closed.tableExists("t"));
  EXPECT_FALSE(closed.executeUpdate("CREATE TABLE u (a)"));
  EXPECT_FALSE(closed.executeBatchUpdate({"CREATE TABLE u (a)"}));
  closed.executeQuery("SELECT 1", [](ZRResultSet*) { ADD_FAILURE() << "called"; });
}

}  // namespace
