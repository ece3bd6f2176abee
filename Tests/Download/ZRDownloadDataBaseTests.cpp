#include <filesystem>
#include <future>
#include <thread>

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>
#include <unistd.h>

#include "DiskProbe.h"
#include "LibraryFixture.h"
#include "ZRBackgroundQueue.h"
#include "ZRDownloadDataBase.h"

using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

class ZRDownloadDataBaseTest : public LibraryFixture {
 protected:
  ZRDownloadDataBaseTest() {
    EXPECT_TRUE(store_.executeUpdate("CREATE TABLE t (pkid integer primary key ,a INTEGER,b TEXT,c DOUBLE,d BLOB)"));
  }

  /// That column of a query's first row; absent when there is none.
  ZRValue first(const std::string& sql, std::string_view column) {
    ZRValue value;
    store_.executeQuery(sql, [&](ZRResultSet* rows) {
      if (rows != nullptr && rows->next()) value = rows->objectForColumn(column);
    });
    return value;
  }

  ZRValue count() { return first("SELECT count(*) AS n FROM t", "n"); }

  bool insert(const std::string& values) {
    return store_.executeUpdate("INSERT INTO t (a,b,c) VALUES (" + values + ")");
  }

  const std::string path_ = downloadFolder() + "/zrdownloadkit.db";
  ZRDownloadDataBase store_;
};

TEST_F(ZRDownloadDataBaseTest, withoutAFileItSaysNo) {
  const std::string text = "this is not a database, and it is longer than a header of one would be: ";
  for (const std::string& file : {path_, path_ + "/folder"}) {
    std::filesystem::remove_all(downloadFolder());
    writeFile(file, text + std::string(200, 'x'));
    ZRDownloadDataBase closed;
    EXPECT_FALSE(closed.isOpen());
    EXPECT_FALSE(closed.tableExists("t"));
    EXPECT_FALSE(closed.executeUpdate("CREATE TABLE u (a)"));
    EXPECT_FALSE(closed.executeBatchUpdate({"CREATE TABLE u (a)"}));
    closed.executeQuery("SELECT 1", [](ZRResultSet*) { ADD_FAILURE() << "called"; });
    manager()->setup(options());
    EXPECT_TRUE(logged(2, "can't open db:" + path_));
    const auto task = ZRDownloadTask::taskWith73Params({{"vid", 1}, {"version", 2}});
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Refused);
    EXPECT_TRUE(readFile(file).starts_with(text));
    ZRDownloadManager::shutdown();
  }
}

TEST_F(ZRDownloadDataBaseTest, opensWhenBusyButNotToReadAlone) {
  fs::rename(downloadFolder(), home_ / "before");
  fs::create_directories(path_ + "-shm");
  {
    ZRDownloadDataBase alone;
    EXPECT_TRUE(alone.executeUpdate("CREATE TABLE u (a)"));
  }
  fs::remove(path_ + "-shm");
  {
    SQLite::Database other(path_, SQLite::OPEN_READWRITE);
    other.exec("PRAGMA journal_mode=DELETE; BEGIN; SELECT * FROM u");
    ZRDownloadDataBase busy;
    EXPECT_TRUE(busy.tableExists("u"));
    other.exec("COMMIT");
    EXPECT_TRUE(busy.executeUpdate("INSERT INTO u (a) VALUES (1)"));
  }
  fs::permissions(home_.path(), fs::perms(0755));
  fs::permissions(path_, fs::perms(0444));
  const uid_t own = ::geteuid();
  ASSERT_TRUE(own != 0 || ::seteuid(65534) == 0);  // there are no permissions for root
  EXPECT_FALSE(ZRDownloadDataBase().isOpen());
  EXPECT_EQ(::seteuid(own), 0);
}

TEST_F(ZRDownloadDataBaseTest, readsValuesOfEveryKind) {
  ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (a,b,c,d) VALUES (9007199254740993,'文',1.5,x'00ff')"));
  ASSERT_TRUE(store_.executeUpdate("INSERT INTO t (a) VALUES ((null))"));
  int reads = 0;
  store_.executeQuery("SELECT * FROM t", [&](ZRResultSet* set) {
    ASSERT_TRUE(set != nullptr && set->next());
    EXPECT_EQ(set->objectForColumn("a"), ZRValue(9007199254740993));
    EXPECT_EQ(set->objectForColumn("b"), ZRValue("文"));
    EXPECT_EQ(set->objectForColumn("c"), ZRValue(1.5));
    EXPECT_EQ(set->objectForColumn("d"), ZRValue(ZRValue::Bytes({0x00, 0xff})));
    EXPECT_TRUE(set->objectForColumn("e").isAbsent());
    EXPECT_EQ(std::tuple(set->textForColumnIndex(2), set->textForColumnIndex(99)), std::tuple("文", std::nullopt));
    EXPECT_EQ(std::tuple(set->int64ForColumnIndex(1), set->int64ForColumnIndex(-1)), std::tuple(9007199254740993, 0));
    ASSERT_TRUE(set->next());
    EXPECT_TRUE(set->objectForColumn("a").isNull());
    EXPECT_EQ(set->textForColumnIndex(2), std::nullopt);
    EXPECT_FALSE(set->next());
    ++reads;
  });
  EXPECT_EQ(reads, 1);
}

TEST_F(ZRDownloadDataBaseTest, oneCallRunsOneStatement) {
  EXPECT_TRUE(store_.executeUpdate("INSERT INTO t (a) VALUES (? || ?) ; \n"));
  for (const std::string& sql : {"INSERT INTO t (a) VALUES (2); DELETE FROM t"s, "INSERT INTO t (a) VALUES (3); --"s,
                                 "INSERT INTO t (a) VALUES (4)\0"s, "INSERT INTO t (a) VALUES (?);DELETE FROM t"s, ""s,
                                 "no statement"s, "INSERT INTO t (b) VALUES ('open"s}) {
    EXPECT_FALSE(store_.executeUpdate(sql)) << sql;
  }
  EXPECT_EQ(count(), ZRValue(1));
}

TEST_F(ZRDownloadDataBaseTest, repeatedStatementsTakeTheirValues) {
  const auto textOf = [this](std::int64_t a) { return first("SELECT b from t WHERE a = " + std::to_string(a), "b"); };
  ASSERT_TRUE(store_.executeUpdate("CREATE UNIQUE INDEX one ON t (a)"));
  EXPECT_TRUE(insert("1,'文?',2"));
  EXPECT_FALSE(insert("1,'again',2"));  // and the next one of its shape runs all the same
  EXPECT_TRUE(insert("-9223372036854775808,'least',2"));
  EXPECT_TRUE(insert("9223372036854775807,'most',2"));
  EXPECT_TRUE(insert("3,(null),2"));
  EXPECT_EQ(textOf(1), ZRValue("文?"));
  EXPECT_TRUE(textOf(2).isAbsent());
  EXPECT_EQ(textOf(INT64_MIN), ZRValue("least"));
  EXPECT_EQ(textOf(INT64_MAX), ZRValue("most"));
  EXPECT_TRUE(textOf(3).isNull());
}

TEST_F(ZRDownloadDataBaseTest, moreStatementsThanAreKeptStillRun) {
  for (int round = 0; round < 2; ++round) {
    std::string sql = "DELETE from t WHERE a = 1";
    for (int i = 0; i < 40; ++i, sql += " and a = 1") EXPECT_TRUE(store_.executeUpdate(sql)) << i;
  }
  const auto before = ::sqlite3_memory_used();
  for (int i = 0; i < 400; ++i)
    EXPECT_TRUE(store_.executeUpdate("DELETE from t WHERE c = " + std::to_string(i) + ".5"));
  EXPECT_LE(::sqlite3_memory_used(), before);
}

TEST_F(ZRDownloadDataBaseTest, whatFailsTogetherIsRunAsABatch) {
  for (const char* sql : {"PRAGMA foreign_keys=ON", "CREATE TABLE p (id INTEGER PRIMARY KEY)",
                          "CREATE TABLE c (p REFERENCES p DEFERRABLE INITIALLY DEFERRED)"}) {
    ASSERT_TRUE(store_.executeUpdate(sql));
  }
  const std::string one = "INSERT INTO t (a) VALUES (1)";
  const auto logSize = [] { return std::filesystem::file_size(ZRDownloadDataBase::filePath() + "-wal"); };
  const auto before = logSize();
  EXPECT_FALSE(store_.executeTogether({}) || store_.executeBatchUpdate({}));
  EXPECT_TRUE(store_.executeBatchUpdate({"broken", one}));
  EXPECT_TRUE(store_.executeTogether(std::vector(50, one)));
  EXPECT_LT(logSize() - before, 20'000U);  // a few pages, once
  EXPECT_FALSE(store_.executeTogether({one, "broken"}));
  EXPECT_TRUE(store_.executeTogether({one, "INSERT INTO c VALUES (1)", one}));  // which is refused at the end
  EXPECT_TRUE(store_.executeTogether({one, "INSERT OR ROLLBACK INTO p VALUES (1),(1)", one}));
  EXPECT_EQ(count(), ZRValue(56));
  EXPECT_EQ(first("SELECT count(*) AS n from c", "n"), ZRValue(0));
}

TEST_F(ZRDownloadDataBaseTest, queryCallsBackOnce) {
  int calls = 0;
  store_.executeQuery("SELECT * FROM missing", [&calls](ZRResultSet* set) { calls += set == nullptr ? 1 : 100; });
  EXPECT_EQ(calls, 1);
  store_.executeQuery("INSERT INTO t (a) VALUES (1)", [](ZRResultSet*) {});
  EXPECT_EQ(count(), ZRValue(0));  // a query is run by reading its rows
  store_.executeQuery("INSERT INTO t (a) VALUES (1)", nullptr);
  EXPECT_EQ(count(), ZRValue(1));
  store_.executeQuery("SELECT 1", [this](ZRResultSet*) { EXPECT_FALSE(store_.executeUpdate("DELETE FROM t")); });
  EXPECT_TRUE(store_.executeUpdate("DELETE FROM t"));
}

TEST_F(ZRDownloadDataBaseTest, threadsTakeTurnsInOrder) {
  ZRTicketLock lock;
  std::vector<unsigned> order;
  std::vector<std::jthread> threads;
  lock.lock();
  for (unsigned i = 1; i <= 8; ++i) {
    threads.emplace_back([&, i] {
      const std::lock_guard turn(lock);
      order.push_back(i);
    });
    while (lock.asking() <= i) std::this_thread::yield();
  }
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int n = 0; n < 50; ++n) EXPECT_TRUE(insert("1,'x',2"));
    });
  }
  lock.unlock();
  threads.clear();
  EXPECT_EQ(order, std::vector<unsigned>({1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(count(), ZRValue(200));
}

TEST_F(ZRDownloadDataBaseTest, rowsReachTheFileOnTheDisksQueue) {
  DiskProbe disk;
  std::atomic<int> syncs = 0;  // of the file, while the writer waits
  disk.setHook([this, &syncs, writer = std::this_thread::get_id()](const std::string& path) {
    if (path == path_ && std::this_thread::get_id() == writer) ++syncs;
    return 0;
  });
  const auto write = [this](int rows) {
    for (int i = 0; i < rows; ++i) ASSERT_TRUE(insert("1,'x',2"));
  };
  const auto logSize = [this] { return fs::file_size(path_ + "-wal"); };
  for (int row = 0; row < 20'000; ++row) {
    write(1);
    ZRBackgroundQueue::disk().waitUntilIdle();
  }
  EXPECT_EQ(syncs, 0);
  EXPECT_LT(logSize(), 15'000'000U);
  std::promise<void> free;
  ZRBackgroundQueue::disk().post([busy = free.get_future().share()] { busy.wait(); });
  write(9000);
  EXPECT_GT(syncs, 0);  // so that the log does not grow for ever
  EXPECT_LT(logSize(), 20'000'000U);
  free.set_value();
}

TEST_F(ZRDownloadDataBaseTest, damagedPagesFailTheirStatementsAlone) {
  for (int i = 0; i < 2000; ++i) ASSERT_TRUE(insert("1,'" + std::string(100, 'x') + "',2"));
  ZRBackgroundQueue::disk().waitUntilIdle();
  ASSERT_TRUE(store_.executeUpdate("PRAGMA wal_checkpoint(TRUNCATE)"));
  std::string bytes = readFile(path_);
  std::fill(bytes.begin() + 8192, bytes.end(), '\xff');
  writeFile(path_, bytes);
  ZRDownloadDataBase reopened;
  int calls = 0;
  reopened.executeQuery("SELECT * FROM t", [&calls](ZRResultSet* set) {
    EXPECT_EQ(++calls, 1);
    int rows = 0;
    while (set != nullptr && set->next()) ++rows;
    EXPECT_LT(rows, 2000);
  });
  EXPECT_FALSE(reopened.executeUpdate("INSERT INTO t (a) VALUES (1)"));
}

}  // namespace
