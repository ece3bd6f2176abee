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

TEST_F(ZR73Mp4TaskRunnerTest, refusesAVersionThatIsNoNumber) {
  expectRefused<Runner>({{"vid", "12"}, {"version", "high"}}, "视频version不合法");
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
  EXPECT_TRUE(task->vidoeUrl().isAbsent());  // the last reply had none
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
  replies_[1](ZRDictionary{{"url", ""}}, std::nullopt);  // an address too, whose error is the host's to judge
  EXPECT_TRUE(runUntil([&] { return logged(2, "") && task->isExecuting(); }));
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
  const ZRDictionary info{{"title", "片名"}, {"cover", "http://c"}, {"duration", 90},       {"vid", 122},
                          {"site", 3},       {"version", 2},        {"fileSize", 1LL << 40}};
  EXPECT_EQ(asked_[0], (ZRDictionary{{"vid", 122}, {"version", 2}}));
  ZRDictionary metadata = info;
  metadata.set("url", "http://v");
  replies_[0](metadata, std::nullopt);
  EXPECT_EQ(std::tuple(before->videoInfoDic(), before->executingPhase()), std::tuple(info, 0U));
  add(123);
  EXPECT_EQ(column("site || group_concat(videoName) || count(*)"), "3片名2");  // the other name is NULL
  restart();
  const auto task = unfinishedOf<Runner>();
  EXPECT_EQ(task->videoInfoDic(), info);
  EXPECT_EQ(task->filtedSameAlbumTasks({task}), std::nullopt);
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
  replies_[0](ZRDictionary{{"title", "a'||'b"}, {"fileSize", 9}}, std::nullopt);
  EXPECT_EQ(column("fileSize || coalesce(videoName, 'NULL')"), "0NULL");  // the row is as it was
  addTaskOf<Runner>({{"vid", "123"}, {"version", 1.9}});
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
