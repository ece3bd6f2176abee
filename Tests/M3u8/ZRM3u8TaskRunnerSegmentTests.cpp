#include <filesystem>

#include "M3u8Fixture.h"

namespace fs = std::filesystem;

namespace {

/// The segments, one after the other.
class ZRM3u8TaskRunnerSegmentTest : public M3u8Fixture {
 protected:
  /// A task of three segments whose second one is in flight.
  std::shared_ptr<ZRM3u8TaskRunner> addInMidway() {
    serveSegments(3);
    holdSegmentOne();
    const auto task = add();
    EXPECT_TRUE(runUntil([&] { return task->currentSegmentBytes() == 100; }));
    EXPECT_EQ(task->currentSegment(), 1);
    return task;
  }

  /// Serves segment 1 whole and expects the task to end with three whole files and each byte counted once.
  void expectWhole(const std::shared_ptr<ZRM3u8TaskRunner>& task) {
    origin_.serve("/1.ts", segment(1));
    ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
    for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(readFile(file(std::to_string(i) + ".ts")), segment(i));
    EXPECT_EQ(task->allDownloadedSegmentsBytes(), 3U * 376);
    EXPECT_EQ(requestsTo("/0.ts"), 1U);
    EXPECT_EQ(requestsTo("/2.ts"), 1U);
  }
};

TEST_F(ZRM3u8TaskRunnerSegmentTest, restartGoesOnAtTheSegmentThatWasInFlight) {
  addInMidway();
  EXPECT_EQ(queried("SELECT group_concat(idx) FROM ts_meta_tb"), "1,2");
  ZRDownloadManager::shutdown();
  manager()->setup(hlsHost());
  const auto task = firstUnfinished();
  EXPECT_TRUE(task->isPaused());
  EXPECT_EQ(task->executingPhase(), 2U);
  EXPECT_EQ(task->currentSegment(), 1);
  origin_.serve("/1.ts", segment(1));
  manager()->resumeTask(task);
  expectWhole(task);
  EXPECT_EQ(recordRequests(), 1U);
  EXPECT_EQ(requestsTo("/p.m3u8"), 1U);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, theStoreStandsAtTheSegmentThatIsAskedFor) {
  serveSegments(3);
  for (unsigned i = 0; i < 3; ++i) {
    const std::string index = std::to_string(i);
    origin_.route("/" + index + ".ts", [i, index](const OriginRequest&, OriginConnection& out) {
      EXPECT_EQ(queried("SELECT currentSegment FROM task_meta_tb"), index);
      EXPECT_EQ(queried("SELECT min(idx) FROM ts_meta_tb"), index);
      out.respond(200, segment(i));
    });
  }
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, addressesOlderThanTwoHoursAreFetchedAgainForTheSameSegment) {
  struct Case {
    double later;
    std::size_t playlists;
  };
  for (const Case& c : {Case{7200, 1}, Case{7200.5, 2}, Case{-7200.5, 2}}) {
    const auto task = addInMidway();
    manager()->pauseTask(task);
    const std::size_t before = origin_.requests().size();
    const std::size_t keysBefore = keyRequests_.size();
    log_.clear();
    now_ += c.later;
    origin_.serve("/1.ts", segment(1));
    manager()->resumeTask(task);
    ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
    EXPECT_EQ(keyRequests_.size() - keysBefore, c.playlists - 1);
    EXPECT_EQ(countLogged(1, "beyond the ts lift."), c.playlists - 1);
    EXPECT_EQ(countLogged(1, "roll back setp 2."), c.playlists - 1);
    EXPECT_EQ(origin_.requests().size() - before, 2 + c.playlists - 1);  // segments 1 and 2, the playlist if need be
    EXPECT_EQ(task->stamp(), c.playlists == 1 ? now_ - c.later : now_);
    EXPECT_EQ(task->allDownloadedSegmentsBytes(), 3U * 376);
    manager()->removeTask(task);
    tsArr_.clear();
  }
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, everySegmentIsCheckedAndABadOneFetchedThreeTimesMore) {
  struct Case {
    std::string body;
    bool passes;
  };
  std::string unsynced = segment(1, 200);
  unsynced[188] = 'H';
  for (const Case& c : {Case{"", true}, Case{segment(1, 199), false}, Case{segment(1, 200), true},
                        Case{unsynced, false}, Case{"<html>" + std::string(500, ' ') + "</html>", false}}) {
    serveSegments(3);
    origin_.serve("/1.ts", c.body);
    const std::size_t before = requestsTo("/1.ts");
    const auto task = add();
    ASSERT_TRUE(runUntil([&] { return task->isFinished() || task->isErrored(); }));
    EXPECT_EQ(task->isFinished(), c.passes) << c.body.size();
    EXPECT_EQ(requestsTo("/1.ts") - before, c.passes ? 1U : 4U);
    EXPECT_EQ(task->allDownloadedSegmentsBytes(), c.passes ? 2 * 376 + c.body.size() : 376);
    if (!c.passes) {
      EXPECT_EQ(*task->err(), ZRError(ZRErrorCode::ResourceUnusable, "TS文件校验失败"));
      EXPECT_EQ(task->currentSegment(), 1);
      EXPECT_EQ(queried("SELECT group_concat(idx) FROM ts_meta_tb"), "1,2");
    }
    manager()->removeTask(task);
    tsArr_.clear();
  }
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, goodSegmentRefillsTheBudget) {
  serveSegments(3);
  for (const char* path : {"/0.ts", "/2.ts"}) {
    auto left = std::make_shared<std::atomic<int>>(3);
    origin_.route(path, [left](const OriginRequest&, OriginConnection& out) {
      out.respond(200, (*left)-- > 0 ? "bad" : segment(0));
    });
  }
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(task->remainedFailedRetryTimes(), 3);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, brokenTransferIsReportedAndGoesOnWhenResumed) {
  serveSegments(3);
  origin_.route("/1.ts", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 376\r\n\r\nGGGG");
    out.reset();
  });
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->isErrored(); }));
  EXPECT_EQ(*task->err(), ZRError(ZRErrorCode::ConnectionLost, "失去网络连接"));
  EXPECT_TRUE(logged(2, "ts:1/3;" + task->err()->description() + "-" + origin_.url("/1.ts")));
  EXPECT_FALSE(fs::exists(file("1.ts")));
  origin_.serve("/1.ts", "forbidden", 403);
  log_.clear();
  manager()->resumeTask(task);
  ASSERT_TRUE(runUntil([&] { return !messages(2).empty(); }));
  EXPECT_TRUE(task->isExecuting());  // other errors are the host's to judge
  manager()->pauseTask(task);
  origin_.serve("/1.ts", segment(1));
  manager()->resumeTask(task);
  expectWhole(task);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, segmentWithoutAnAddressAsksForThePlaylistThreeTimes) {
  tsArr_ = {ZRValue::null(), 5, "http://127.0.0.1:1/2.ts"};
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->isErrored(); }));
  EXPECT_EQ(*task->err(), ZRError(ZRErrorCode::ResourceUnusable, "找不到TS地址"));
  EXPECT_EQ(task->totalSegment(), 3);
  EXPECT_EQ(requestsTo("/p.m3u8"), 4U);
  EXPECT_EQ(countLogged(2, "query ts url is nil！"), 4U);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, taskResumedWhileItExecutesFetchesNothingTwice) {
  const auto task = addInMidway();
  origin_.serve("/1.ts", segment(1));
  manager()->resumeTask(task);
  expectWhole(task);
  EXPECT_EQ(requestsTo("/1.ts"), 2U);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, progressCountsWholeSegmentsAndTheOneInFlightAndIsNotClamped) {
  serveRecord("\"url_high\": \"" + origin_.url("/p.m3u8?a=1") + "\", \"file_size_high\": 100");
  const auto task = addInMidway();
  EXPECT_FLOAT_EQ(task->currentDownloadProgress(), 476.0F / 117.0F);
  gate_.open();
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_FLOAT_EQ(task->currentDownloadProgress(), 3.0F * 376.0F / 117.0F);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, diskIsLookedAtBeforeEverySegment) {
  const auto task = addInMidway();
  setFreeBytes(std::uint64_t{1} << 30);
  gate_.open();
  ASSERT_TRUE(runUntil([&] { return task->isErrored(); }));
  EXPECT_EQ(*task->err(), ZRError(ZRErrorCode::DiskFull, "磁盘空间不足"));
  EXPECT_EQ(task->currentSegment(), 2);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, removedTaskLeavesNoFilesAndNoRows) {
  const auto task = addInMidway();
  manager()->removeTask(task);
  EXPECT_FALSE(fs::exists(file("")));
  gate_.open();
  EXPECT_EQ(queried("SELECT (SELECT count(*) FROM ts_meta_tb) + (SELECT count(*) FROM task_meta_tb)"), "0");
}

}  // namespace
