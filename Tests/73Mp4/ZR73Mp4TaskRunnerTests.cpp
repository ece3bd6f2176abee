#include "RunnerFixture.h"
#include "ZR73Mp4TaskRunner.h"

namespace {

/// A host that keeps every request for metadata until the test answers it.
class ZR73Mp4TaskRunnerTest : public RunnerFixture {
 protected:
  using Runner = ZR73Mp4TaskRunner;

  ZR73Mp4TaskRunnerTest() {
    manager()->setup(options(
        {{"fetch_73Info_Handler", ZRFetch73InfoHandler([this](const ZRDictionary& request, ZRReplyCompletion reply) {
            asked_.push_back(request);
            replies_.push_back(std::move(reply));
          })}}));
  }

  static ZRDictionary params(std::int64_t vid = 123) { return {{"vid", vid}, {"version", 2}}; }
  static std::shared_ptr<Runner> add(std::int64_t vid = 123) { return addTaskOf<Runner>(params(vid)); }

  static std::string column(const std::string& expression) {
    return queried("SELECT " + expression + " FROM task_73_meta_tb");
  }

  std::vector<ZRDictionary> asked_;
  std::vector<ZRReplyCompletion> replies_;
};

TEST_F(ZR73Mp4TaskRunnerTest, refusesParametersOneAfterTheOther) {
  expectRefused<Runner>({{"vid", 0}, {"version", 0}}, "视频vid不合法");
  expectRefused<Runner>({{"vid", ZRDictionary()}, {"version", 1}}, "视频vid不合法");
  expectRefused<Runner>({{"vid", "12"}, {"version", "high"}}, "视频version不合法");
}

TEST_F(ZR73Mp4TaskRunnerTest, namesAndDictionaryFollowFromTheParameters) {
  const auto task = Runner::taskWithParams({{"vid", "123"}, {"version", 2.9}, {"cover", "http://c"}});
  task->setPkid(5);
  EXPECT_EQ(std::tuple(task->taskId(), task->localRelativeFilePath()), std::tuple("73-5", "73-123-2/123-2.mp4"));
  EXPECT_EQ(task->localFullFilePath(), downloadFolder() + "/73-123-2/123-2.mp4");
  EXPECT_EQ(task->description(), "【73vid:123,ac:0.000000】");
  EXPECT_EQ(task->videoInfoDic(),
            (ZRDictionary{
                {"cover", "http://c"}, {"duration", 0}, {"vid", 123}, {"site", 3}, {"version", 2}, {"fileSize", 0}}));
  EXPECT_EQ(task->filtedSameAlbumTasks({task}), std::nullopt);
  EXPECT_EQ(std::tuple(task->currentDownloadProgress(), task->remainedFailedRetryTimes()), std::tuple(0, 0));
}

TEST_F(ZR73Mp4TaskRunnerTest, preloadedMetadataIsKeptAndAskedForAgainOnResume) {
  manager()->setMaxConcurrentOperationCount(0);
  const auto task = addTaskOf<Runner>({{"vid", 123}, {"version", 2}, {"cover", "http://c"}});
  ASSERT_EQ(asked_, std::vector<ZRDictionary>({{{"vid", 123}, {"version", 2}}}));
  replies_[0](ZRDictionary{{"title", "片"}, {"url", "http://v"}, {"duration", "90"}, {"fileSize", 1LL << 40}},
              std::nullopt);
  EXPECT_EQ(*task->videoName().string(), "片");
  EXPECT_TRUE(task->cover().isAbsent());  // the reply had none
  EXPECT_EQ(std::tuple(task->duration(), task->fileSize(), task->executingPhase()), std::tuple(90, 1LL << 40, 0U));
  manager()->setMaxConcurrentOperationCount(1);
  EXPECT_TRUE(task->isExecuting());
  EXPECT_EQ(asked_.size(), 2U);
}

TEST_F(ZR73Mp4TaskRunnerTest, onlyTheNewestReplyCountsAndItsMetadataAreKept) {
  const auto task = add();
  manager()->pauseTask(task);
  manager()->resumeTask(task);
  replies_.at(0)(std::nullopt, ZRError("host", 106, "late"));
  EXPECT_TRUE(task->isExecuting());
  manager()->pauseTask(task);
  replies_.at(1)(ZRDictionary{{"title", "片"}, {"url", "http://v"}}, std::nullopt);
  EXPECT_TRUE(task->isPaused() && task->executingPhase() == 0);
  EXPECT_EQ(column("videoName"), "片");
  manager()->resumeTask(task);
  replies_.at(2)(ZRDictionary{{"title", "名"}}, ZRError("host", 105, "off"));
  failed(task, ZRError("host", 105, "off"));
  EXPECT_EQ(*task->videoName().string(), "名");
}

TEST_F(ZR73Mp4TaskRunnerTest, missingAddressIsTriedAgainOnlyAfterASuccess) {
  const ZRError noAddress(ZRErrorCode::ResourceUnusable, "找不到MP4下载地址");
  for (const auto& [url, freeBytes, error, tries] :
       {std::tuple(ZRValue(), 100ULL << 30, noAddress, 1),
        {ZRValue::null(), 100ULL << 30, noAddress, 4},
        {ZRValue(), 1ULL << 30, diskFull_, 1}}) {  // the disk is looked at first
    setFreeBytes(freeBytes);
    const auto task = add();
    if (tries > 1) task->resetRetryTimes();
    log_.clear();
    asked_.clear();
    replies_.back()(ZRDictionary{{"url", url}}, std::nullopt);
    failed(task, error);
    EXPECT_EQ(std::ranges::count_if(messages(0), [](const auto& m) { return m.starts_with("Disk Capacity"); }), tries);
    manager()->resumeTask(task);  // fills no retries, and asks for no metadata
    EXPECT_EQ(std::tuple(asked_.size(), task->remainedFailedRetryTimes()), std::tuple(0U, 0));
    manager()->removeTask(task);
  }
}

TEST_F(ZR73Mp4TaskRunnerTest, delayedRetryRepeatsThePhaseUnlessTheStateChanges) {
  const auto task = add();
  task->justDelayRetry();
  ASSERT_TRUE(runUntil([this] { return asked_.size() == 2; }));
  EXPECT_TRUE(logged(1, "delyRetry start " + task->description() + "..."));
  task->justDelayRetry();
  EXPECT_TRUE(loop_->timeUntilNext().has_value());
  manager()->pauseTask(task);
  EXPECT_EQ(loop_->timeUntilNext(), std::nullopt);  // neither the retry nor the speed timer is left
}

// The row.

TEST_F(ZR73Mp4TaskRunnerTest, metadataSurviveARestartInThreeStatesButForTheAddress) {
  manager()->setMaxConcurrentOperationCount(0);
  const auto before = add(122);
  replies_[0](ZRDictionary{{"title", "片名"}, {"url", "http://v"}, {"cover", "http://c"}, {"fileSize", 1LL << 40}},
              std::nullopt);
  add(123);
  EXPECT_EQ(column("site || group_concat(videoName) || count(*)"), "3片名2");  // the other name is NULL
  restart();
  const auto task = unfinishedOf<Runner>();
  EXPECT_EQ(task->videoInfoDic(), before->videoInfoDic());
  EXPECT_TRUE(task->vidoeUrl().isAbsent() && task->executingPhase() == 0 && task->timestamp() > 0);
  EXPECT_TRUE(unfinishedOf<Runner>(1)->videoName().isNull());
  unfinishedOf<Runner>(1)->syncStateToDB();
  EXPECT_EQ(column("count(videoName || cover) || count(videoUrl)"), "20");  // empty strings now
}

TEST_F(ZR73Mp4TaskRunnerTest, unfinishedTasksComeBackPausedInRowOrderWithoutBeingWritten) {
  manager()->setMaxConcurrentOperationCount(0);
  for (int vid = 1; vid <= 4; ++vid) add(vid);
  manager()->allUnFinishTaskArr()[1]->invokeCompletionNotifi();
  restart();
  ASSERT_TRUE(update("UPDATE task_73_meta_tb SET taskState = 2 + vid, activeTimestamp = 9 WHERE taskState != 4"));
  restart();
  EXPECT_TRUE(logged(1, "73:1/4"));
  std::string order;
  for (const auto& task : manager()->allUnFinishTaskArr()) {
    EXPECT_TRUE(task->isPaused());
    order += task->taskId() + " ";
  }
  EXPECT_EQ(order + manager()->allFinishedTaskArr().at(0)->taskId(), "73-1 73-3 73-4 73-2");
  EXPECT_EQ(column("group_concat(taskState) || '/' || min(activeTimestamp)"), "3,4,5,6/9.0");
}

TEST_F(ZR73Mp4TaskRunnerTest, sameVideoIsStoredOnceAndNothingWithAQuote) {
  EXPECT_EQ(manager()->addTask(Runner::taskWithParams({{"vid", 1}, {"version", 1}, {"cover", "a'||'b"}})),
            ZRAddTaskResult::Refused);
  const auto task = add();
  EXPECT_EQ(manager()->addTask(Runner::taskWithParams(params())), ZRAddTaskResult::Exists);
  replies_[0](ZRDictionary{{"title", "it's"}, {"fileSize", 9}}, std::nullopt);
  EXPECT_EQ(column("fileSize || coalesce(videoName, 'NULL')"), "0NULL");  // the row is as it was
  addTaskOf<Runner>({{"vid", 123}, {"version", 1}});
  manager()->removeTask(task);
  EXPECT_EQ(column("count(*) || version"), "11");
}

TEST_F(ZR73Mp4TaskRunnerTest, everyColumnIsLoadedIntoItsField) {
  manager()->setMaxConcurrentOperationCount(0);
  add();
  restart();
  ASSERT_TRUE(
      update("UPDATE task_73_meta_tb SET downloadedBytes = 11, stamp = 12.5, videoName = 'n', timestamp = 13.5, "
             "activeTimestamp = 14.5, cover = 'c', duration = 15, fileSize = 1099511627776, site = 4, videoUrl = 'u'"));
  restart();
  std::string text;
  for (const ZRColumn& column : Runner::columnPropertiesForTaskTable()) {
    text += unfinishedOf<Runner>()->valueForKey(column.name).textValue().value_or("-") + " ";
  }
  EXPECT_EQ(text, "123 2 3 11 12.5 n - 13.5 14.5 c 15 1099511627776 0 ");
}
}  // namespace
