#include "LibraryFixture.h"
#include "ZR73Mp4TaskRunner.h"

namespace {

class ZR73Mp4TaskRunnerTest : public LibraryFixture {
 protected:
  /// A host that keeps every request for metadata until the test answers it.
  ZRDictionary listening() {
    return options(
        {{"fetch_73Info_Handler", ZRFetch73InfoHandler([this](const ZRDictionary& request, ZRReplyCompletion reply) {
            asked_.push_back(request);
            replies_.push_back(std::move(reply));
          })}});
  }

  static std::shared_ptr<ZR73Mp4TaskRunner> make(const ZRDictionary& params = {{"vid", 123}, {"version", 2}}) {
    return ZR73Mp4TaskRunner::taskWithParams(params);
  }

  std::vector<ZRDictionary> asked_;
  std::vector<ZRReplyCompletion> replies_;
};

TEST_F(ZR73Mp4TaskRunnerTest, refusesParametersOneAfterTheOther) {
  manager()->setup(options());
  struct Case {
    ZRDictionary params;
    const char* message;
  };
  for (const Case& c :
       {Case{{{"vid", 0}, {"version", 2}}, "视频vid不合法"}, Case{{{"vid", 5}, {"version", 0}}, "视频version不合法"},
        Case{{{"vid", 5}, {"version", -1}}, "视频version不合法"}, Case{{}, "视频vid不合法"},
        Case{{{"vid", ZRDictionary()}, {"version", 1}}, "视频vid不合法"},
        Case{{{"vid", "12"}, {"version", "high"}}, "视频version不合法"}}) {
    log_.clear();
    EXPECT_EQ(ZRDownloadTask::taskWith73Params(c.params), nullptr);
    EXPECT_EQ(log_, std::vector<LogLine>({{2, c.message}}));
  }
  const auto coerced = make({{"vid", "12"}, {"version", 2.9}, {"cover", "http://c"}});
  ASSERT_NE(coerced, nullptr);
  EXPECT_EQ(coerced->vid(), 12);
  EXPECT_EQ(coerced->version(), 2);
  EXPECT_EQ(coerced->remainedFailedRetryTimes(), 0);
}

TEST_F(ZR73Mp4TaskRunnerTest, namesAndDictionaryFollowFromTheParameters) {
  const auto task = make({{"vid", 123}, {"version", 2}, {"cover", "http://c"}});
  task->setPkid(5);
  EXPECT_EQ(task->taskId(), "73-5");
  EXPECT_EQ(task->localRelativeFilePath(), "73-123-2/123-2.mp4");
  EXPECT_EQ(task->localFullFilePath(), downloadFolder() + "/73-123-2/123-2.mp4");
  EXPECT_EQ(task->description(), "【73vid:123,ac:0.000000】");
  EXPECT_EQ(task->videoInfoDic(),
            (ZRDictionary{
                {"cover", "http://c"}, {"duration", 0}, {"vid", 123}, {"site", 3}, {"version", 2}, {"fileSize", 0}}));
  EXPECT_EQ(task->filtedSameAlbumTasks({task}), std::nullopt);
  EXPECT_EQ(task->currentDownloadProgress(), 0);
}

TEST_F(ZR73Mp4TaskRunnerTest, preloadedMetadataIsKeptAndAskedForAgainOnResume) {
  manager()->setup(listening());
  manager()->setMaxConcurrentOperationCount(0);
  const auto task = make({{"vid", 123}, {"version", 2}, {"cover", "http://c"}});
  ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  ASSERT_EQ(asked_, std::vector<ZRDictionary>({{{"vid", 123}, {"version", 2}}}));
  replies_[0](ZRDictionary{{"title", "片"}, {"url", "http://v"}, {"duration", "90"}, {"fileSize", 5000}}, std::nullopt);
  EXPECT_EQ(*task->videoName().string(), "片");
  EXPECT_TRUE(task->cover().isAbsent());  // the reply had none
  EXPECT_EQ(task->duration(), 90);
  EXPECT_EQ(task->fileSize(), 5000);
  EXPECT_EQ(task->executingPhase(), 0U);
  manager()->setMaxConcurrentOperationCount(1);
  EXPECT_TRUE(task->isExecuting());
  EXPECT_EQ(asked_.size(), 2U);
}

TEST_F(ZR73Mp4TaskRunnerTest, onlyTheNewestMetadataRequestCounts) {
  manager()->setup(listening());
  const auto task = make();
  ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  manager()->pauseTask(task);
  manager()->resumeTask(task);
  ASSERT_EQ(replies_.size(), 2U);
  replies_[0](std::nullopt, ZRError("host", 106, "late"));
  EXPECT_TRUE(task->isExecuting());
  replies_[1](std::nullopt, ZRError("host", 106, "gone"));
  EXPECT_TRUE(task->isErrored());
  EXPECT_EQ(task->err()->localizedDescription(), "gone");
}

TEST_F(ZR73Mp4TaskRunnerTest, replyForAPausedTaskOnlyKeepsTheMetadata) {
  manager()->setup(listening());
  const auto task = make();
  ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  manager()->pauseTask(task);
  replies_[0](ZRDictionary{{"title", "片"}, {"url", "http://v"}}, std::nullopt);
  EXPECT_TRUE(task->isPaused());
  EXPECT_EQ(task->executingPhase(), 0U);
  EXPECT_EQ(*task->videoName().string(), "片");
}

TEST_F(ZR73Mp4TaskRunnerTest, replyMayComeFromAnotherThreadAndAfterTheTask) {
  manager()->setup(listening());
  auto task = make();
  ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  std::thread([this] { replies_[0](ZRDictionary{{"title", "片"}}, ZRError("host", 105, "off")); }).join();
  EXPECT_TRUE(task->videoName().isAbsent());
  ASSERT_TRUE(runUntil([&] { return task->isErrored(); }));
  EXPECT_EQ(*task->videoName().string(), "片");
  manager()->removeTask(task);
  task.reset();
  replies_[0](ZRDictionary{{"title", "again"}}, std::nullopt);
}

TEST_F(ZR73Mp4TaskRunnerTest, missingAddressFailsAtOnceWithoutRetries) {
  for (const ZRDictionary& metadata : {ZRDictionary{{"title", "t"}}, ZRDictionary{{"url", ZRValue::null()}},
                                       ZRDictionary{{"url", ZRValue::List{"http://v"}}}}) {
    restart({});
    manager()->setup(listening());
    const auto task = make();
    ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
    replies_.back()(metadata, std::nullopt);
    ASSERT_TRUE(task->isErrored());
    EXPECT_EQ(*task->err(), ZRError(ZRErrorCode::ResourceUnusable, "找不到MP4下载地址"));
    EXPECT_EQ(asked_.size(), 1U);
    manager()->removeTask(task);
    asked_.clear();
  }
}

TEST_F(ZR73Mp4TaskRunnerTest, fullDiskStopsEveryTaskBeforeTheDownload) {
  manager()->setup(listening());
  setFreeBytes(std::uint64_t{1} << 30);
  const auto task = make();
  const auto other = make({{"vid", 124}, {"version", 2}});
  ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  ASSERT_EQ(manager()->addTask(other), ZRAddTaskResult::Added);
  replies_[0](ZRDictionary{{"url", "http://127.0.0.1:1/v"}}, std::nullopt);
  EXPECT_EQ(*task->err(), ZRError(ZRErrorCode::DiskFull, "磁盘空间不足"));
  EXPECT_TRUE(other->isErrored());
}

TEST_F(ZR73Mp4TaskRunnerTest, delayedRetryRepeatsThePhaseUnlessTheStateChanges) {
  manager()->setup(listening());
  const auto task = make();
  ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  task->justDelayRetry();
  ASSERT_TRUE(runUntil([this] { return asked_.size() == 2; }));
  EXPECT_TRUE(logged(1, "delyRetry start " + task->description() + "..."));
  task->justDelayRetry();
  EXPECT_TRUE(loop_->timeUntilNext().has_value());
  manager()->pauseTask(task);
  EXPECT_EQ(loop_->timeUntilNext(), std::nullopt);  // neither the retry nor the speed timer is left
}

}  // namespace
