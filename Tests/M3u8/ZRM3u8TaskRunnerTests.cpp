#include "M3u8Fixture.h"

namespace {

/// Tasks that wait, and their rows.
class ZRM3u8TaskRunnerTest : public M3u8Fixture {
 protected:
  ZRM3u8TaskRunnerTest() { manager()->setMaxConcurrentOperationCount(0); }

  static std::string rows() {
    return queried("SELECT group_concat(task_id || ':' || idx, ' ') FROM (SELECT * FROM ts_meta_tb ORDER BY pkid)");
  }
};

TEST_F(ZRM3u8TaskRunnerTest, refusesParametersOneAfterTheOther) {
  expectRefused<Runner>({}, "视频vid不合法");
  expectRefused<Runner>({{"vid", 1}, {"site", 0}, {"version", 0}}, "视频site不合法");
  expectRefused<Runner>(params(-1), "视频version不合法");
}

TEST_F(ZRM3u8TaskRunnerTest, albumsAreTasksOfThisKindWithTheSameIdAboveNothing) {
  const auto inAlbum = [](int aid) {
    return Runner::taskWithParams({{"aid", aid}, {"vid", 7}, {"site", 1}, {"version", 1}});
  };
  const auto mp4 = ZRDownloadTask::taskWith73Params({{"vid", 3}, {"version", 1}});
  const ZRTaskList tasks{inAlbum(0), inAlbum(3), mp4, inAlbum(4), inAlbum(3)};
  EXPECT_EQ(inAlbum(3)->filtedSameAlbumTasks(tasks), (ZRTaskList{tasks[1], tasks[4]}));
  EXPECT_EQ(inAlbum(0)->filtedSameAlbumTasks(tasks), ZRTaskList());
}

TEST_F(ZRM3u8TaskRunnerTest, preloadKeepsTheRecordAndTheTasksOwnId) {
  serveRecord(R"("video_name": "片", "uploadFrom": 265)");
  auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->executingPhase() == 1; }));  // also for a video that is one file
  EXPECT_TRUE(task->isWaiting());
  EXPECT_EQ(task->vid(), 7);
  EXPECT_EQ((*task->videoInfoDic())["title"], ZRValue("片"));
  task->preloadVideoInfoIfNeed();  // not in phase 0: asks for nothing
  restart();
  task = unfinishedOf<Runner>();
  EXPECT_EQ(task->executingPhase(), 1U);
  EXPECT_EQ((*task->videoInfoDic())["title"], ZRValue("片"));
  EXPECT_EQ(recordRequests(), 1U);
}

TEST_F(ZRM3u8TaskRunnerTest, aPreloadUnderWayOvertakesNoStartAndWritesNoOthersRow) {
  origin_.route("/v4/video/info/7.json", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(200, R"({"status": 200, "data": {"url": 1}})");
  });
  const auto removed = add();
  manager()->removeTask(removed);
  auto next = addTaskOf<Runner>({{"aid", 3}, {"vid", 8}, {"site", 1}, {"version", 1}});  // has no record
  EXPECT_EQ(next->taskId(), removed->taskId());
  const auto started = add();
  ASSERT_TRUE(origin_.waitForRequests(3));
  serveHlsRecord();
  manager()->setMaxConcurrentOperationCount(2);
  finished(started);
  gate_.open();
  ASSERT_TRUE(runUntil([&] { return removed->executingPhase() == 1; }));
  EXPECT_EQ(queried("SELECT vid FROM task_meta_tb WHERE pkid = 1"), "8");
  EXPECT_EQ(started->executingPhase(), 3U);  // a late preload would take it back to 1
}

TEST_F(ZRM3u8TaskRunnerTest, filesGoAfterTheirRowAndStayWithARowThatStays) {
  const auto task = add();
  writeFile(file("0.ts"), "bytes");
  ASSERT_TRUE(update("CREATE TRIGGER keep BEFORE DELETE ON task_meta_tb BEGIN SELECT RAISE(ABORT, ''); END"));
  manager()->removeTask(task);
  EXPECT_TRUE(logged(2, "can't remove the row of " + task->description()));
  EXPECT_TRUE(manager()->allUnFinishTaskArr().empty());
  restart(hlsHost());
  ASSERT_TRUE(update("DROP TRIGGER keep"));
  EXPECT_EQ(readFile(file("0.ts")), "bytes");
  (void)disk_.takeSynced();
  manager()->removeTask(unfinishedOf<Runner>());
  EXPECT_FALSE(fs::exists(file("")));
  ZRBackgroundQueue::shared().waitUntilIdle();
  EXPECT_EQ(disk_.takeSynced(), std::set<std::string>({downloadFolder() + "/zrdownloadkit.db-wal"}));
}

TEST_F(ZRM3u8TaskRunnerTest, aLostRowIsWrittenWithTheNextOneThatCanBe) {
  manager()->setMaxConcurrentOperationCount(1);
  ASSERT_TRUE(update("CREATE TRIGGER full BEFORE UPDATE ON task_meta_tb BEGIN SELECT RAISE(ABORT, ''); END"));
  const auto task = finished(add());
  EXPECT_EQ(countLogged(2, "can't write the row of 【vid:7,aid:3,ts:0】"), 1U);
  ASSERT_TRUE(update("DROP TRIGGER full"));
  EXPECT_NE(queried("SELECT executingPhase FROM task_meta_tb"), "3");
  addTaskOf<Runner>(params(2));
  EXPECT_EQ(queried("SELECT executingPhase FROM task_meta_tb"), "3");
}

TEST_F(ZRM3u8TaskRunnerTest, taskWithoutARecordAnswersEverything) {
  for (const int phase : {0, 1, 2, 3, 4, 5}) {
    const auto task = std::make_shared<Runner>();
    EXPECT_TRUE(!task->videoInfoDic() && task->currentDownloadProgress() == 0);
    EXPECT_EQ(task->localFullFilePath(), downloadFolder() + "/0-0/0-0.local.m3u8");
    EXPECT_EQ(task->debugDescription(), "【vid:0,aid:0,ts:0,order:0,ac:0.000000,name:(null)】");
    EXPECT_EQ(task->sqlValueForKey("albumPic") + task->sqlValueForKey("taskState"), "(null)(null)");
    task->setValueForKey(phase, "executingPhase");
    task->resume();  // without store, agent and callbacks
    EXPECT_TRUE(task->isExecuting());
  }
}

TEST_F(ZRM3u8TaskRunnerTest, storedPlaylistReplacesTheTasksRowsAndNoOthers) {
  const auto task = add();
  ASSERT_TRUE(update("INSERT INTO ts_meta_tb (idx,task_id,url) VALUES (0,77,'YQ==')"));
  task->updateAllTsURL({"http://h/it's?ä=%27", "", "c"});
  EXPECT_EQ(rows(), "77:0 1:0 1:2");  // an empty address keeps its place and has no row
  EXPECT_EQ(task->queryCurrentDownloadSegmentUrl(), "http://h/it's?ä=%27");
  task->updateAllTsURL({"x", "y", "z"});
  EXPECT_EQ(rows(), "77:0 1:0 1:1 1:2");
  manager()->removeTask(task);
  EXPECT_EQ(rows(), "77:0");
  const auto rowless = Runner::taskWithParams(params());
  rowless->setDb(manager()->db());
  rowless->updateAllTsURL({"x"});
  EXPECT_EQ(rowless->queryCurrentDownloadSegmentUrl(), std::nullopt);
  rowless->syncStateToDB();
  rowless->cleanDownloadFiles();
  EXPECT_EQ(rows(), "77:0 0:0");
  EXPECT_TRUE(update(Runner::deleteAllTSSQLWithTaskIds({5, 77, 0})));
  EXPECT_EQ(rows(), "NULL");
}

TEST_F(ZRM3u8TaskRunnerTest, stateFollowsFromThePhaseIdsFromTheRecordDamageFromNone) {
  for (const int version : {1, 2, 21, 31}) addTaskOf<Runner>(params(version));
  restart({{"max_concurrent_count", 0}});  // the end of a waiting task's process writes its row
  ASSERT_TRUE(
      update("UPDATE task_meta_tb SET executingPhase = 2, currentSegment = 9, vid = 55, timestamp = 11.5, "
             "activeTimestamp = 22.5 WHERE pkid = 1"));
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
  EXPECT_TRUE(task->isPaused() && (*task->videoInfoDic())["albumCover"] == ZRValue("http://a"));
  EXPECT_EQ(std::tuple(task->timestamp(), task->activeTimestamp()), std::tuple(11.5, 22.5));
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
