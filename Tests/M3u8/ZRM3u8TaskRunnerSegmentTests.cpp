#include <atomic>
#include <semaphore>

#include "M3u8Fixture.h"
#include "ZRM3u8Rules.h"

namespace {

/// The segments, one after the other.
class ZRM3u8TaskRunnerSegmentTest : public M3u8Fixture {
 protected:
  /// A task of three segments whose second one is in flight and waits for `gate_`.
  std::shared_ptr<Runner> addInMidway() {
    serveSegments(3);
    serveInTwo(origin_, "/1.ts", segment(1), 100);
    const auto task = add();
    EXPECT_TRUE(runUntil([&] { return task->currentSegmentBytes() == 100; }));
    EXPECT_EQ(task->currentSegment(), 1);
    return task;
  }

  /// Resumes the task at segment 1 and expects three whole files at the end, each byte counted once.
  void resumeToTheEnd(const std::shared_ptr<Runner>& task) {
    origin_.serve("/1.ts", segment(1));
    manager()->resumeTask(task);
    finished(task);
    for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(readFile(file(std::to_string(i) + ".ts")), segment(i));
    EXPECT_EQ(task->allDownloadedSegmentsBytes(), 3U * 376);
    EXPECT_EQ(task->currentDownloadProgress(), 0) << "of a size that nobody told";
    EXPECT_EQ(queried("SELECT count(*) FROM ts_meta_tb"), "0");
  }
};

TEST_F(ZRM3u8TaskRunnerSegmentTest, rowStandsAtTheSegmentAskedForAndAGoodOneFillsTheBudget) {
  serveSegments(3);
  std::atomic<int> badOnes = 0;
  for (unsigned i = 0; i < 3; ++i) {
    const std::string index = std::to_string(i);
    origin_.route("/" + index + ".ts", [&badOnes, i, index](const OriginRequest&, OriginConnection& out) {
      EXPECT_EQ(queried("SELECT currentSegment FROM task_meta_tb"), index);
      EXPECT_EQ(queried("SELECT min(idx) FROM ts_meta_tb"), index);
      const bool isBad = i != 1 && badOnes++ % 4 != 3;
      out.respond(200, isBad ? "bad" : segment(i));
    });
  }
  const auto task = finished(add());
  EXPECT_EQ(task->remainedFailedRetryTimes(), 3);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, rulesOfAddressesAndPackets) {
  for (const double age : {7200.0, -7200.0}) {
    EXPECT_FALSE(ZRM3u8Rules::areAddressesExpired(now_, now_ + age));
    EXPECT_TRUE(ZRM3u8Rules::areAddressesExpired(now_, now_ + 1.001 * age));
  }
  EXPECT_EQ(ZRM3u8Rules::urlWithMkey("http://h/p?a=1&", "K"), "http://h/p?a=1&mkey=K");
  EXPECT_EQ(ZRM3u8Rules::urlWithMkey("http://h/p.m3u8", "K"), "http://h/p.m3u8&mkey=K");  // no query is looked for
  std::vector<std::uint8_t> packets(200);
  packets[0] = packets[188] = 'G';
  EXPECT_TRUE(ZRM3u8Rules::isTransportStream(packets) && ZRM3u8Rules::isTransportStream({}));
  EXPECT_FALSE(ZRM3u8Rules::isTransportStream(std::span(packets).first(199)));
  for (const std::size_t at : {0U, 188U}) {
    packets[at] ^= 1;
    EXPECT_FALSE(ZRM3u8Rules::isTransportStream(packets));
    packets[at] ^= 1;
  }
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, everySegmentIsCheckedAndABadOneFetchedThreeTimesMore) {
  serveSegments(2);
  origin_.serve("/1.ts", segment(1, 199));
  const auto task = failed(add(), {ZRErrorCode::ResourceUnusable, "TS文件校验失败"});
  EXPECT_EQ(queried("SELECT currentSegment || group_concat(idx) FROM task_meta_tb, ts_meta_tb"), "11");
  EXPECT_EQ(std::tuple(requestsTo("/1.ts"), task->allDownloadedSegmentsBytes()), std::tuple(4U, 376U));
  origin_.serve("/1.ts", "");
  manager()->resumeTask(task);
  finished(task);
  EXPECT_EQ(std::tuple(requestsTo("/1.ts"), task->allDownloadedSegmentsBytes()), std::tuple(5U, 376U));
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, brokenTransferIsReportedAndGoesOnWhenResumed) {
  serveSegments(3);
  origin_.route("/1.ts", [](const OriginRequest&, OriginConnection& out) { out.reset(); });
  const auto task = failed(add(), connectionLost_);
  EXPECT_TRUE(logged(2, "ts:1/3;" + task->err()->description() + "-" + origin_.url("/1.ts")));
  resumeToTheEnd(task);
  EXPECT_EQ(requestsTo("/0.ts") + requestsTo("/2.ts"), 2U);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, segmentWithoutAnAddressAsksForThePlaylistThreeTimes) {
  tsArr_ = {ZRValue::null(), 5, "http://127.0.0.1:1/2.ts"};
  const auto task = failed(add(), {ZRErrorCode::ResourceUnusable, "找不到TS地址"});
  EXPECT_EQ(task->totalSegment(), 3);
  EXPECT_EQ(requestsTo("/p.m3u8"), 4U);
  EXPECT_EQ(countLogged(2, "query ts url is nil！"), 4U);
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, resumedWhileItExecutesCountsNothingTwice) {
  const auto task = addInMidway();
  manager()->resumeTask(task);
  ASSERT_TRUE(origin_.waitForRequests(5));  // the record, the playlist, segment 0, and segment 1 twice
  gate_.open();
  finished(task);
  EXPECT_EQ(std::tuple(task->allDownloadedSegmentsBytes(), requestsTo("/2.ts")), std::tuple(3U * 376, 1U));
  EXPECT_EQ(messages(2), std::vector<std::string>()) << "two requests got in each other's way";
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, progressIsUnclampedAndTheDiskIsLookedAtEachTime) {
  serveHlsRecord(R"(, "file_size_high": 100)");
  const auto task = addInMidway();
  EXPECT_FLOAT_EQ(task->currentDownloadProgress(), 476.0F / 117.0F);
  fillDisk();
  now_ += 7201;  // the addresses are too old as well, which nobody asks on a full disk
  gate_.open();
  failed(task, diskFull_);
  EXPECT_EQ(task->currentSegment(), 2);
  setFreeBytes(std::uint64_t{100} << 30);
  manager()->resumeTask(task);
  finished(task);
  EXPECT_FLOAT_EQ(task->currentDownloadProgress(), 3.0F * 376.0F / 117.0F);
  EXPECT_EQ(std::tuple(requestsTo("/p.m3u8"), requestsTo("/1.ts"), task->stamp()), std::tuple(2U, 1U, now_));
  EXPECT_EQ(std::tuple(countLogged(1, "beyond the ts lift."), countLogged(1, "roll back setp 2.")), std::tuple(1U, 1U));
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, filesThatAreShorterThanTheirRowAreFetchedAgain) {
  for (const auto& [first, second, goesOnAt] :
       {std::tuple(376, 376, 2U), {376, 0, 1U}, {376, 100, 1U}, {188, 376, 0U}, {376, -1, 1U}}) {
    serveSegments(3);
    serveInTwo(origin_, "/2.ts", segment(2), 100);
    auto task = add();
    ASSERT_TRUE(runUntil([&] { return task->currentSegment() == 2 && task->currentSegmentBytes() == 100; }));
    restart(hlsHost());
    fs::resize_file(file("0.ts"), static_cast<std::size_t>(first));
    if (second < 0) fs::remove(file("1.ts"));
    if (second >= 0) fs::resize_file(file("1.ts"), static_cast<std::size_t>(second));
    const std::size_t before = origin_.requests().size();
    origin_.serve("/2.ts", segment(2));
    resumeToTheEnd(task = unfinishedOf<Runner>());
    EXPECT_EQ(origin_.requests().size() - before, goesOnAt == 2 ? 1U : 4U - goesOnAt);  // a new playlist, the segments
    manager()->removeTask(task);
  }
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, theEndWaitsForTheDiskAndGivesWayToWhatStopsIt) {
  using Task = std::shared_ptr<Runner>;
  serveSegments(2);
  int ends = 0;
  const auto token = ZRNotificationCenter::defaultCenter().addObserver(kZRDownloadTaskFinishedNotifi,
                                                                       [&ends](const ZRNotification&) { ++ends; });
  const std::vector<std::pair<std::function<void(const Task&)>, ZRTaskState>> stops = {
      {[](const Task& task) { manager()->resumeTask(task); }, ZRTaskState::Finished},
      {[](const Task& task) { manager()->pauseTask(task); }, ZRTaskState::Paused},
      {[](const Task& task) { manager()->removeTask(task); }, ZRTaskState::Paused},
      {[](const Task& task) {
         manager()->pauseTask(task);
         manager()->resumeTask(task);  // a second end overtakes the first
       },
       ZRTaskState::Finished}};
  for (const auto& [stop, state] : stops) {
    std::binary_semaphore syncing(0);
    std::binary_semaphore release(0);
    disk_.setHook([&, waits = std::make_shared<std::atomic<bool>>(true)](const std::string& path) {
      if (!path.ends_with("/0.ts") || !waits->exchange(false)) return 0;
      syncing.release();
      loop_->post([] {});  // which wakes who waits for it
      EXPECT_TRUE(release.try_acquire_for(std::chrono::seconds(20)));
      return 0;
    });
    ends = 0;
    const auto task = add();
    ASSERT_TRUE(runUntil([&] { return syncing.try_acquire(); }));
    EXPECT_EQ(queried("SELECT executingPhase || currentSegment || totalSegment FROM task_meta_tb"), "222");
    stop(task);
    release.release();
    ZRBackgroundQueue::disk().waitUntilIdle();
    loop_->drain();
    EXPECT_EQ(std::tuple(task->taskState(), ends), std::tuple(state, state == ZRTaskState::Finished ? 1 : 0));
    manager()->removeTask(task);
  }
}

TEST_F(ZRM3u8TaskRunnerSegmentTest, aSegmentThatTheDiskRefusesIsFetchedAgain) {
  serveSegments(2);
  disk_.setHook([](const std::string& path) { return path.ends_with("/1.ts") ? EIO : 0; });
  const auto task = failed(add(), {ZRErrorCode::ResourceUnusable, "the file cannot be written"});
  EXPECT_EQ(task->err()->userInfo()["reason"], ZRValue("fileSync"));
  disk_.setHook(nullptr);
  manager()->resumeTask(task);
  finished(task);
  EXPECT_EQ(std::tuple(requestsTo("/0.ts"), requestsTo("/1.ts")), std::tuple(1U, 2U));
}
}  // namespace
