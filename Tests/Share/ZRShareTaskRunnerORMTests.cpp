#include "ShareFixture.h"

namespace {

class ZRShareTaskRunnerORMTest : public ShareFixture {
 protected:
  ZRShareTaskRunnerORMTest() { manager()->setMaxConcurrentOperationCount(0); }

  /// Changes the rows while no task writes them, then loads them.
  void restartWithRows(const std::string& changes) {
    restart();
    ASSERT_TRUE(update("UPDATE task_share_meta_tb SET " + changes));
    restart();
  }

  static std::string count() { return queried("SELECT count(*) FROM task_share_meta_tb"); }
};

TEST_F(ZRShareTaskRunnerORMTest, rowIsFoundByBothIdsAndHoldsTheModelInLines) {
  const auto task = Runner::taskWithParams(params());
  EXPECT_EQ(task->queryPrimaryKeySQL(), "SELECT pkid from task_share_meta_tb WHERE vid = 'v1' and aid = 'a1' ");
  EXPECT_EQ(task->sqlValueForKey("shareDownloadModel").find("\r\n"), 65U);  // a quote and 64 characters
  EXPECT_EQ(Runner().sqlValueForKey("shareDownloadModel"), "''");
}

TEST_F(ZRShareTaskRunnerORMTest, sameVideoInTwoAlbumsIsTwoTasks) {
  const auto first = add(params());
  const auto second = add(params({{"albumId", "a2"}}));
  EXPECT_EQ(manager()->addTask(Runner::taskWithParams(params())), ZRAddTaskResult::Exists);
  EXPECT_NE(first->pkid(), second->pkid());
  for (const auto& task : {first, second}) writeFile(*task->videoSavePath(), *task->aid());
  manager()->removeTask(first);
  EXPECT_FALSE(std::filesystem::exists(file("movie")));
  EXPECT_EQ(readFile(file("movie", "a2/v1")), "a2");
  EXPECT_EQ(queried("SELECT count(*) || aid FROM task_share_meta_tb"), "1a2");
}

TEST_F(ZRShareTaskRunnerORMTest, loadedTaskHasItsModelAndNoRetries) {
  const auto all = params({{"shareUrl", "http://s"}, {"fileSize", 1LL << 40}, {"duration", 90}, {"videoName", "it's"}});
  const auto before = add(all)->videoInfoDic();
  add(params({{"vid", "done"}}));
  restartWithRows("taskState = pkid * 2, downloadedBytes = 9, vid = 'x'");
  EXPECT_TRUE(logged(1, "share:1/2"));
  EXPECT_EQ(manager()->allFinishedTaskArr().size(), 1U);
  const auto task = unfinishedOf<Runner>();
  EXPECT_EQ(task->videoInfoDic(), before);
  EXPECT_EQ(task->vid(), "v1");
  EXPECT_EQ(task->downloadedBytes(), 9U);
  EXPECT_TRUE(task->isPaused());
  EXPECT_EQ(task->remainedFailedRetryTimes(), 0);
}

TEST_F(ZRShareTaskRunnerORMTest, damagedModelLeavesATaskWithoutOne) {
  for (const char* model : {"''", "NULL", "'AAAA'", "'!!'", "7", "'oWN2aWQ='"}) {
    add(params());
    restartWithRows("shareDownloadModel = " + std::string(model));
    const auto loaded = unfinishedOf<Runner>();
    EXPECT_EQ(loaded->shareDownloadModel(), nullptr) << model;
    EXPECT_EQ(loaded->videoInfoDic(), std::nullopt);
    manager()->resumeTask(loaded);
    expectError(loaded, offline_);
    manager()->removeTask(loaded);
    EXPECT_EQ(count(), "0");
    manager()->setMaxConcurrentOperationCount(0);
  }
}

TEST_F(ZRShareTaskRunnerORMTest, idThatWouldEndItsLiteralKeepsTheTaskOutOfTheStore) {
  using namespace std::string_literals;
  for (const std::string& id : {"it's"s, "' or '1'='1"s, "x\0y"s}) {
    for (const char* key : {"vid", "albumId"}) {
      EXPECT_EQ(manager()->addTask(Runner::taskWithParams(params({{key, id}}))), ZRAddTaskResult::Refused);
    }
  }
  EXPECT_EQ(count(), "0");
}

}  // namespace
