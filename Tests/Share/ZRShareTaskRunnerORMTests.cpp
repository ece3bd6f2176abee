#include "ShareFixture.h"

namespace {

class ZRShareTaskRunnerORMTest : public ShareFixture {
 protected:
  ZRShareTaskRunnerORMTest() { manager()->setMaxConcurrentOperationCount(0); }

  /// Changes the rows while no task writes them, then loads them.
  void restartWithRows(const std::string& changes) {
    restart();
    ASSERT_TRUE(manager()->db()->executeUpdate("UPDATE task_share_meta_tb SET " + changes));
    restart();
  }
};

TEST_F(ZRShareTaskRunnerORMTest, statementsNameTableKeyAndColumns) {
  EXPECT_EQ(queried("SELECT sql FROM sqlite_master WHERE name = 'task_share_meta_tb'"),
            "CREATE TABLE task_share_meta_tb (pkid integer primary key ,vid TEXT,aid TEXT,downloadedBytes INTEGER,"
            "timestamp DOUBLE,activeTimestamp DOUBLE,taskState INTEGER,shareDownloadModel TEXT)");
  const auto task = ZRShareTaskRunner::taskWithParams(params());
  EXPECT_EQ(task->queryPrimaryKeySQL(), "SELECT pkid from task_share_meta_tb WHERE vid = 'v1' and aid = 'a1' ");
  const std::string model = task->sqlValueForKey("shareDownloadModel");
  EXPECT_EQ(model.find("\r\n"), 65U);  // a quote and 64 characters
  EXPECT_EQ(ZRShareTaskRunner().sqlValueForKey("shareDownloadModel"), "''");
}

TEST_F(ZRShareTaskRunnerORMTest, sameVideoInTwoAlbumsIsTwoTasks) {
  const auto first = add(params());
  const auto second = add(params({{"albumId", "a2"}}));
  EXPECT_EQ(manager()->addTask(ZRShareTaskRunner::taskWithParams(params())), ZRAddTaskResult::Exists);
  EXPECT_NE(first->pkid(), second->pkid());
  writeFile(*first->videoSavePath(), "1");
  writeFile(*second->videoSavePath(), "2");
  manager()->removeTask(first);
  EXPECT_FALSE(std::filesystem::exists(file("movie")));
  EXPECT_EQ(readFile(file("movie", "a2/v1")), "2");
  EXPECT_EQ(queried("SELECT count(*) || aid FROM task_share_meta_tb"), "1a2");
}

TEST_F(ZRShareTaskRunnerORMTest, loadedTaskHasItsModelAndNoRetries) {
  const auto all = params({{"shareUrl", "http://s"}, {"fileSize", 1LL << 40}, {"duration", 90}, {"videoName", "it's"}});
  const auto before = add(all)->videoInfoDic();
  restartWithRows("taskState = 2, downloadedBytes = 9, vid = 'x'");
  const auto task = firstUnfinished();
  EXPECT_EQ(task->videoInfoDic(), before);
  EXPECT_EQ(task->vid(), "v1");
  EXPECT_EQ(task->downloadedBytes(), 9U);
  EXPECT_TRUE(task->isPaused());
  EXPECT_EQ(task->remainedFailedRetryTimes(), 0);
}

TEST_F(ZRShareTaskRunnerORMTest, logCountsFinishedTasksFirst) {
  for (const char* vid : {"1", "2", "3", "4", "5"}) add(params({{"vid", vid}}));
  restartWithRows("taskState = 4 WHERE pkid < 4");
  EXPECT_TRUE(logged(1, "share:3/5"));
  EXPECT_EQ(manager()->allFinishedTaskArr().size(), 3U);
}

TEST_F(ZRShareTaskRunnerORMTest, damagedModelLeavesATaskWithoutOne) {
  for (const char* model : {"''", "NULL", "'AAAA'", "'!!'", "7", "'oWN2aWQ='"}) {
    add(params());
    restartWithRows("shareDownloadModel = " + std::string(model));
    const auto loaded = firstUnfinished();
    EXPECT_EQ(loaded->shareDownloadModel(), nullptr) << model;
    EXPECT_EQ(loaded->videoInfoDic(), std::nullopt);
    catchErrors(*loaded);
    loaded->resume();
    ASSERT_TRUE(runUntil([&] { return !errors_.empty(); }));
    EXPECT_EQ(errors_.at(0).code(), 105);
    errors_.clear();
    manager()->removeTask(loaded);
    EXPECT_EQ(queried("SELECT count(*) FROM task_share_meta_tb"), "0");
  }
}

TEST_F(ZRShareTaskRunnerORMTest, idThatWouldEndItsLiteralKeepsTheTaskOutOfTheStore) {
  using namespace std::string_literals;
  for (const std::string& id : {"it's"s, "' or '1'='1"s, "x\0y"s}) {
    for (const char* key : {"vid", "albumId"}) {
      EXPECT_EQ(manager()->addTask(ZRShareTaskRunner::taskWithParams(params({{key, id}}))), ZRAddTaskResult::Refused);
    }
  }
  EXPECT_EQ(queried("SELECT count(*) FROM task_share_meta_tb"), "0");
}

}  // namespace
