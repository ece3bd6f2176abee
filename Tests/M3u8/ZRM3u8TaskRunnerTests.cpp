#include "M3u8Fixture.h"

namespace {

using ZRM3u8TaskRunnerTest = M3u8Fixture;

TEST_F(ZRM3u8TaskRunnerTest, refusesParametersOneAfterTheOther) {
  expectRefused<Runner>({}, "视频vid不合法");
  expectRefused<Runner>({{"vid", 0}, {"site", 1}, {"version", 1}}, "视频vid不合法");
  expectRefused<Runner>({{"vid", 1}, {"site", 0}, {"version", 0}}, "视频site不合法");
  expectRefused<Runner>(params(-1), "视频version不合法");
}

TEST_F(ZRM3u8TaskRunnerTest, namesAndDictionaryFollowFromTheParameters) {
  const auto task =
      Runner::taskWithParams({{"aid", 3}, {"vid", "7"}, {"site", 1}, {"version", 21}, {"albumPic", "http://a"}});
  task->setPkid(5);
  EXPECT_EQ(task->taskId(), "5");
  EXPECT_EQ(task->remainedFailedRetryTimes(), 3);
  EXPECT_EQ(task->localRelativeFilePath(), "7-21/7-21.local.m3u8");
  EXPECT_EQ(task->localFullFilePath(), downloadFolder() + "/7-21/7-21.local.m3u8");
  EXPECT_EQ(task->currentDownloadSegmentPath(), downloadFolder() + "/7-21/0.ts");
  EXPECT_EQ(task->description(), "【vid:7,aid:3,ts:0】");
  EXPECT_EQ(task->debugDescription(), "【vid:7,aid:3,ts:0,order:0,ac:0.000000,name:(null)】");
  const ZRDictionary info = *task->videoInfoDic();
  EXPECT_EQ(info["version"], ZRValue(21));
  EXPECT_EQ(std::prev(info.end())->first, "albumCover");
  EXPECT_FALSE(Runner::taskWithParams(params())->videoInfoDic()->contains("albumCover"));
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
  manager()->setMaxConcurrentOperationCount(0);
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

TEST_F(ZRM3u8TaskRunnerTest, startReplacesAPreloadUnderWay) {
  manager()->setMaxConcurrentOperationCount(0);
  origin_.route("/v4/video/info/7.json", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(200, R"({"status": "200", "data": {}})");
  });
  const auto task = add();
  ASSERT_TRUE(origin_.waitForRequests(1));
  serveHlsRecord();
  manager()->setMaxConcurrentOperationCount(1);
  ASSERT_TRUE(finishes(task));
  gate_.open();
  loop_->drain();
  EXPECT_EQ(task->executingPhase(), 3U);  // a late preload would take it back to 1
}

TEST_F(ZRM3u8TaskRunnerTest, taskWithoutARecordAnswersEverything) {
  for (const int phase : {0, 1, 2, 3, 4, 5}) {
    const auto task = std::make_shared<Runner>();
    EXPECT_TRUE(!task->videoInfoDic() && task->currentDownloadProgress() == 0);
    EXPECT_EQ(task->localFullFilePath(), downloadFolder() + "/0-0/0-0.local.m3u8");
    EXPECT_EQ(task->description(), "【vid:0,aid:0,ts:0】");
    task->setValueForKey(phase, "executingPhase");
    task->resume();  // without store, agent and callbacks
    EXPECT_TRUE(task->isExecuting());
  }
}

}  // namespace
