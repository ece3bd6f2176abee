#include "M3u8Fixture.h"

namespace {

/// Tasks that are stored and never run.
class ZRM3u8TaskRunnerORMTest : public M3u8Fixture {
 protected:
  ZRM3u8TaskRunnerORMTest() {
    manager()->setMaxConcurrentOperationCount(0);
    origin_.serve("/v4/video/info/7.json", "", 500);
  }

  static std::string rows() {
    return queried("SELECT group_concat(task_id || ':' || idx, ' ') FROM (SELECT * FROM ts_meta_tb ORDER BY pkid)");
  }
};

TEST_F(ZRM3u8TaskRunnerORMTest, statementsToTheLetter) {
  EXPECT_EQ(Runner::insertTsInfoSQLWithIdx(2, 5, "YQ=="),
            "INSERT INTO ts_meta_tb (idx,task_id,url) VALUES (2,5,'YQ==')");
  EXPECT_EQ(Runner::insertTsInfoSQLWithIdx(2, 5, ""), std::nullopt);
  EXPECT_EQ(Runner::queryTSUrlSQLWithTaskId(5, 2), "SELECT url from ts_meta_tb WHERE task_id = 5 and idx = 2");
  EXPECT_EQ(Runner::deleteTSSQLWithTaskId("5", 2), "DELETE from ts_meta_tb WHERE task_id = 5 and idx = 2");
  EXPECT_EQ(Runner::deleteAllTSSQLWithTaskIds({5, 6}), "DELETE from ts_meta_tb WHERE task_id IN ( 5,6 )");
  EXPECT_EQ(Runner::deleteAllTSSQLWithTaskId(5), "DELETE from ts_meta_tb WHERE task_id = 5");
  EXPECT_EQ(Runner::taskWithParams(params())->queryPrimaryKeySQL(),
            "SELECT pkid from task_meta_tb WHERE vid = 7 and version = 1");
}

TEST_F(ZRM3u8TaskRunnerORMTest, storedPlaylistReplacesTheTasksRowsAndNoOthers) {
  const auto task = add();
  ASSERT_TRUE(update("INSERT INTO ts_meta_tb (idx,task_id,url) VALUES (0,77,'YQ==')"));
  task->updateAllTsURL({"http://h/it's?ä=%27", "", "c"});
  EXPECT_EQ(rows(), "77:0 1:0 1:2");  // an empty address keeps its place and has no row
  EXPECT_EQ(task->queryCurrentDownloadSegmentUrl(), "http://h/it's?ä=%27");
  task->updateAllTsURL({"x", "y", "z"});
  EXPECT_EQ(rows(), "77:0 1:0 1:1 1:2");
  manager()->removeTask(task);
  EXPECT_EQ(rows(), "77:0");
  EXPECT_EQ(queried("SELECT count(*) FROM task_meta_tb"), "0");
}

TEST_F(ZRM3u8TaskRunnerORMTest, taskThatWasNeverInsertedOnlyStoresAddresses) {
  const auto task = Runner::taskWithParams(params());
  task->setDb(manager()->db());
  task->updateAllTsURL({"x"});
  EXPECT_EQ(task->queryCurrentDownloadSegmentUrl(), std::nullopt);
  task->syncStateToDB();
  task->cleanDownloadFiles();
  EXPECT_EQ(rows(), "0:0");
}

TEST_F(ZRM3u8TaskRunnerORMTest, rowHoldsTheArchivedRecordInLines) {
  const auto task = add();
  EXPECT_EQ(manager()->addTask(Runner::taskWithParams(params())), ZRAddTaskResult::Exists);
  const std::string text = queried("SELECT videoInfo FROM task_meta_tb");
  EXPECT_EQ(text.substr(64, 2), "\r\n");
  EXPECT_EQ(task->sqlValueForKey("videoInfo"), "'" + text + "'");
  EXPECT_EQ(task->sqlValueForKey("albumPic") + task->sqlValueForKey("taskState"), "(null)(null)");
  restart();
  EXPECT_EQ(unfinishedOf<Runner>()->videoInfo()->toDic(), task->videoInfo()->toDic());
}

TEST_F(ZRM3u8TaskRunnerORMTest, stateFollowsFromThePhaseAndIdsFromTheRecordAndDamageDoesNoHarm) {
  for (const int version : {1, 2, 21, 31}) addTaskOf<Runner>(params(version));
  restart({{"max_concurrent_count", 0}});  // the end of a waiting task's process writes its row
  ASSERT_TRUE(update("UPDATE task_meta_tb SET executingPhase = 2, currentSegment = 9, vid = 55 WHERE pkid = 1"));
  ASSERT_TRUE(update("UPDATE task_meta_tb SET executingPhase = 3 WHERE pkid = 2"));
  ASSERT_TRUE(update("UPDATE task_meta_tb SET videoInfo = '', executingPhase = NULL WHERE pkid = 3"));
  ASSERT_TRUE(
      update("UPDATE task_meta_tb SET videoInfo = 'oWF4', stamp = 9e999, currentSegment = -5, totalSegment = 'many',"
             "executingPhase = -1, allDownloadedSegmentsBytes = -1, albumPic = x'00' WHERE pkid = 4"));
  restart();
  EXPECT_TRUE(logged(1, "m3:1/4"));
  ASSERT_EQ(manager()->allFinishedTaskArr().size(), 1U);
  const auto finished = manager()->allFinishedTaskArr()[0];
  EXPECT_TRUE(finished->isFinished() && finished->taskId() == "2");
  const auto task = unfinishedOf<Runner>();
  EXPECT_TRUE(task->isPaused() && task->albumPic().isAbsent());
  EXPECT_EQ(std::tuple(task->currentSegment(), task->vid(), task->remainedFailedRetryTimes()), std::tuple(9, 7, 3));
  const auto without = unfinishedOf<Runner>(1);
  EXPECT_EQ(without->videoInfo(), nullptr);
  EXPECT_EQ(without->sqlValueForKey("videoInfo"), "''");
  const auto damaged = unfinishedOf<Runner>(2);
  EXPECT_EQ(damaged->videoInfo(), nullptr);
  EXPECT_EQ(std::tuple(damaged->stamp(), damaged->currentSegment(), damaged->executingPhase()), std::tuple(0, -5, 0U));
  damaged->setValueForKey(9, "vid");
  damaged->setValueForKey(9, "nonsense");
  EXPECT_EQ(damaged->valueForKey("vid"), ZRValue(0));
  EXPECT_TRUE(damaged->valueForKey("nonsense").isAbsent());
}

}  // namespace
