#include "LibraryFixture.h"
#include "ProbeTask.h"
#include "ZRDownloadDataBase.h"

namespace {

class ZRDownloadManagerTest : public LibraryFixture {
 protected:
  std::shared_ptr<ProbeTask> add(const std::string& name, std::int64_t album = 0) {
    auto task = std::make_shared<ProbeTask>(name, album);
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
    return task;
  }

  std::vector<std::string> observed(const char* name) {
    tokens_.push_back(ZRNotificationCenter::defaultCenter().addObserver(name, [this](const ZRNotification& posted) {
      posted_.push_back(posted.name + ":" + posted.objectAs<ZRDownloadTask>()->taskId());
    }));
    return posted_;
  }

  std::vector<ZRNotificationCenter::Token> tokens_;
  std::vector<std::string> posted_;
};

TEST_F(ZRDownloadManagerTest, isOneObjectUntilItIsShutDown) {
  const auto first = manager();
  EXPECT_EQ(first, manager());
  EXPECT_EQ(first->maxConcurrentOperationCount(), 3);
  ZRDownloadManager::shutdown();
  EXPECT_NE(first, manager());
}

TEST_F(ZRDownloadManagerTest, optionsOfAnotherTypeCountAsAbsent) {
  manager()->setup({{"fetch_mky_handler", 5},
                    {"logger_handler", ZRRequestHandler([](const ZRDictionary&, ZRReplyCompletion) {})},
                    {"ignore_h265", "1"},
                    {"max_concurrent_count", 300}});
  EXPECT_FALSE(manager()->fetchMkeyHandler());
  EXPECT_FALSE(manager()->loggerHandler());
  EXPECT_TRUE(manager()->ignoreH265());
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 44);  // 8 bits of it
}

TEST_F(ZRDownloadManagerTest, secondSetupReplacesOptionsAndTouchesNoTask) {
  manager()->setup(options({{"max_concurrent_count", 1}, {"ignore_h265", true}}));
  const auto running = add("a");
  const auto waiting = add("b");
  const auto db = manager()->db();
  manager()->setup(options({{"max_concurrent_count", 2}}));
  EXPECT_EQ(manager()->db(), db);
  EXPECT_FALSE(manager()->ignoreH265());
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 2);
  EXPECT_TRUE(running->isExecuting());
  EXPECT_TRUE(waiting->isWaiting());
  EXPECT_EQ(manager()->allUnFinishTaskArr().size(), 2U);
}

TEST_F(ZRDownloadManagerTest, addedTaskIsStartedReportedAndAnnounced) {
  manager()->setup(options());
  observed(kZRDownloadTaskCreatedSuccNotifi);
  const auto task = add("a");
  EXPECT_TRUE(task->isExecuting());
  EXPECT_EQ(task->preloads, 0);
  EXPECT_NE(task->networkAgent(), nullptr);
  EXPECT_EQ(task->db(), manager()->db());
  EXPECT_TRUE(logged(1, "add:a"));
  EXPECT_EQ(reports_, std::vector<ZRDictionary>({{{"stype", 201U}, {"version", 21}}}));
  EXPECT_EQ(posted_, std::vector<std::string>({"kZRDownloadTaskCreatedSuccNotifi:a"}));

  EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Exists);
  EXPECT_EQ(posted_.size(), 1U);
  EXPECT_EQ(manager()->allUnFinishTaskArr().size(), 1U);
}

TEST_F(ZRDownloadManagerTest, refusedTaskLeavesNoTrace) {
  manager()->setup(options());
  observed(kZRDownloadTaskCreatedSuccNotifi);
  const auto task = std::make_shared<ProbeTask>("a");
  task->refuseInsert = true;
  EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Refused);
  EXPECT_EQ(manager()->addTask(nullptr), ZRAddTaskResult::Refused);
  EXPECT_TRUE(manager()->allUnFinishTaskArr().empty());
  EXPECT_TRUE(reports_.empty());
  EXPECT_TRUE(posted_.empty());
}

TEST_F(ZRDownloadManagerTest, withoutSlotsTasksWaitAndPreload) {
  manager()->setup(options({{"max_concurrent_count", 0}}));
  const auto task = add("a");
  EXPECT_TRUE(task->isWaiting());
  EXPECT_EQ(task->preloads, 1);
  manager()->resumeTask(task);
  EXPECT_TRUE(task->isWaiting());
}

TEST_F(ZRDownloadManagerTest, albumSharesTheTimestampOfItsFirstTaskInEachList) {
  double now = 1000;
  ZRClock::setSource([&now] { return 978307200 + now; });
  manager()->setup(options());
  const auto first = add("a", 7);
  now = 2000;
  const auto second = add("b", 7);
  const auto other = add("c", 8);
  EXPECT_EQ(second->timestamp(), 1000);
  EXPECT_EQ(other->timestamp(), 2000);
  now = 3000;
  second->invokeCompletionNotifi();
  EXPECT_EQ(second->timestamp(), 3000);  // the first of its album among the finished ones
  now = 4000;
  first->invokeCompletionNotifi();
  EXPECT_EQ(first->timestamp(), 3000);
}

TEST_F(ZRDownloadManagerTest, completedTaskGivesItsSlotAwayBeforeItIsAnnounced) {
  manager()->setup(options({{"max_concurrent_count", 1}}));
  const auto done = add("a");
  const auto next = add("b");
  bool nextRunsWhenAnnounced = false;
  const auto token = ZRNotificationCenter::defaultCenter().addObserver(
      kZRDownloadTaskFinishedNotifi, [&](const ZRNotification&) { nextRunsWhenAnnounced = next->isExecuting(); });
  reports_.clear();
  done->invokeCompletionNotifi();
  EXPECT_TRUE(done->isFinished());
  EXPECT_TRUE(nextRunsWhenAnnounced);
  EXPECT_EQ(manager()->allFinishedTaskArr(), ZRTaskList({done}));
  EXPECT_EQ(manager()->allUnFinishTaskArr(), ZRTaskList({next}));
  EXPECT_EQ(reports_, std::vector<ZRDictionary>({{{"stype", 202U}, {"version", 21}}}));
}

TEST_F(ZRDownloadManagerTest, errorCodeDecidesTheFateOfAllTasks) {
  using S = ZRTaskState;
  struct Case {
    std::int64_t code;
    S failing, waiting;
  };
  for (const Case& c :
       {Case{100, S::Errored, S::Errored}, Case{102, S::Errored, S::Errored}, Case{101, S::Errored, S::Waiting},
        Case{103, S::Errored, S::Executing}, Case{104, S::Errored, S::Executing}, Case{105, S::Errored, S::Executing},
        Case{106, S::Errored, S::Executing}, Case{404, S::Executing, S::Waiting},
        Case{-1001, S::Executing, S::Waiting}}) {
    SCOPED_TRACE(c.code);
    ZRDownloadManager::shutdown();
    manager()->setup(options({{"max_concurrent_count", 1}}));
    const auto failing = add("a");
    const auto waiting = add("b");
    const ZRError error("elsewhere", c.code, "why");  // the domain does not count
    failing->invokeErrorNotifi(error);
    EXPECT_EQ(failing->taskState(), c.failing);
    EXPECT_EQ(waiting->taskState(), c.waiting);
    EXPECT_EQ(failing->err().has_value(), c.failing == S::Errored);
  }
}

TEST_F(ZRDownloadManagerTest, connectionLossKeepsTheSlot) {
  manager()->setup(options({{"max_concurrent_count", 1}}));
  const auto lost = add("a");
  lost->invokeErrorNotifi({ZRErrorCode::ConnectionLost, ""});
  const auto waiting = add("b");
  EXPECT_TRUE(waiting->isWaiting());
  manager()->removeTask(lost);  // errored, so it stays in the executing list
  EXPECT_TRUE(waiting->isWaiting());
  EXPECT_EQ(lost->cleans, 1);
}

TEST_F(ZRDownloadManagerTest, removedTaskFreesItsSlot) {
  manager()->setup(options({{"max_concurrent_count", 1}}));
  const auto running = add("a");
  const auto next = add("b");
  manager()->removeTask(running);
  EXPECT_TRUE(running->isPaused());
  EXPECT_EQ(running->cleans, 1);
  EXPECT_TRUE(next->isExecuting());
  EXPECT_TRUE(logged(1, "rm:a"));
  next->invokeCompletionNotifi();
  manager()->removeTask(next);
  EXPECT_TRUE(manager()->allFinishedTaskArr().empty());
  EXPECT_TRUE(manager()->allUnFinishTaskArr().empty());
}

TEST_F(ZRDownloadManagerTest, requestsWithoutAHandlerAreNeverCompleted) {
  manager()->setup(options());
  bool called = false;
  const ZRReplyCompletion completion = [&called](const auto&, const auto&) { called = true; };
  manager()->fetchMkey({}, completion);
  manager()->fetch73VideoInfo({}, completion);
  EXPECT_FALSE(called);
  manager()->setup(options({{"fetch_mky_handler", ZRFetchMkeyHandler([](const ZRDictionary& request, auto reply) {
                               reply(request, std::nullopt);
                             })}}));
  manager()->fetchMkey({}, completion);
  EXPECT_TRUE(called);
}

TEST_F(ZRDownloadManagerTest, storeThatIsNoDatabaseRefusesEveryTask) {
  const std::string file = downloadFolder() + "/zrdownloadkit.db";
  writeFile(file, "this is not a database, and it is longer than a header of one would be: " + std::string(200, 'x'));
  manager()->setup(options());
  EXPECT_TRUE(logged(2, "can't open db:" + file));
  const auto task = ZRDownloadTask::taskWith73Params({{"vid", 1}, {"version", 2}});
  EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Refused);
  EXPECT_TRUE(readFile(file).starts_with("this is not a database"));
}

}  // namespace
