#include <optional>

#include "LibraryFixture.h"
#include "ProbeTask.h"
#include "ZRDownloadDataBase.h"

namespace {

class ZRDownloadManagerTest : public LibraryFixture {
 protected:
  static std::shared_ptr<ProbeTask> add(const std::string& name, std::int64_t album = 0) {
    auto task = std::make_shared<ProbeTask>(name, album);
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
    return task;
  }

  void setupWithSlots(int slots) { manager()->setup(options({{"max_concurrent_count", slots}})); }

  static ZRNotificationCenter::Token observe(const char* name, std::function<void(const ZRNotification&)> observer) {
    return ZRNotificationCenter::defaultCenter().addObserver(name, std::move(observer));
  }

  static ZRDictionary report(unsigned stype) { return {{"stype", stype}, {"version", 21}}; }
};

TEST_F(ZRDownloadManagerTest, optionsOfAnotherTypeCountAsAbsent) {
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 3);
  manager()->setup({{"fetch_mky_handler", 5},
                    {"logger_handler", ZRRequestHandler([](const ZRDictionary&, ZRReplyCompletion) {})},
                    {"ignore_h265", "1"},
                    {"max_concurrent_count", 300}});
  EXPECT_FALSE(manager()->fetchMkeyHandler());
  EXPECT_FALSE(manager()->loggerHandler());
  EXPECT_TRUE(manager()->ignoreH265());
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 44);  // 8 bits of it
}

TEST_F(ZRDownloadManagerTest, secondSetupReplacesOptionsAndTouchesNoTaskUntilOneIsStarted) {
  manager()->setup(options({{"max_concurrent_count", 1}, {"ignore_h265", true}}));
  const auto running = add("a");
  const auto waiting = add("b");
  const auto db = manager()->db();
  setupWithSlots(2);
  EXPECT_EQ(manager()->db(), db);
  EXPECT_FALSE(manager()->ignoreH265());
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 2);
  EXPECT_TRUE(running->isExecuting());
  EXPECT_TRUE(waiting->isWaiting());
  EXPECT_EQ(manager()->allUnFinishTaskArr().size(), 2U);
  manager()->starTasks({});  // fills free slots all the same
  EXPECT_TRUE(waiting->isExecuting());
}

TEST_F(ZRDownloadManagerTest, addedTaskIsStartedReportedAndAnnouncedAndARefusedOneLeavesNoTrace) {
  std::vector<std::string> announced;
  const auto token = observe(kZRDownloadTaskCreatedSuccNotifi, [&announced](const ZRNotification& posted) {
    announced.push_back(posted.name + ":" + posted.objectAs<ZRDownloadTask>()->taskId());
  });
  manager()->setup(options());
  const auto task = add("a");
  EXPECT_TRUE(task->isExecuting());
  EXPECT_EQ(task->preloads, 0);
  EXPECT_NE(task->networkAgent(), nullptr);
  EXPECT_EQ(task->db(), manager()->db());
  EXPECT_TRUE(logged(1, "add:a"));

  const auto refused = std::make_shared<ProbeTask>("b");
  refused->refuseInsert = true;
  EXPECT_EQ(manager()->addTask(refused), ZRAddTaskResult::Refused);
  EXPECT_EQ(manager()->addTask(nullptr), ZRAddTaskResult::Refused);
  EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Exists);
  EXPECT_EQ(manager()->allUnFinishTaskArr(), ZRTaskList({task}));
  EXPECT_EQ(reports_, std::vector<ZRDictionary>({report(201)}));
  EXPECT_EQ(announced, std::vector<std::string>({"kZRDownloadTaskCreatedSuccNotifi:a"}));
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
  setupWithSlots(1);
  const auto done = add("a");
  const auto next = add("b");
  bool nextRunsWhenAnnounced = false;
  const auto token = observe(kZRDownloadTaskFinishedNotifi,
                             [&](const ZRNotification&) { nextRunsWhenAnnounced = next->isExecuting(); });
  reports_.clear();
  done->invokeCompletionNotifi();
  EXPECT_TRUE(done->isFinished());
  EXPECT_TRUE(nextRunsWhenAnnounced);
  EXPECT_EQ(manager()->allFinishedTaskArr(), ZRTaskList({done}));
  EXPECT_EQ(manager()->allUnFinishTaskArr(), ZRTaskList({next}));
  EXPECT_EQ(reports_, std::vector<ZRDictionary>({report(202)}));
}

TEST_F(ZRDownloadManagerTest, errorCodeDecidesTheFateOfAllTasks) {
  using enum ZRTaskState;
  for (const auto& [code, failingEnds, waitingEnds] :
       {std::tuple(100, Errored, Errored), std::tuple(102, Errored, Errored), std::tuple(101, Errored, Waiting),
        std::tuple(103, Errored, Executing), std::tuple(104, Errored, Executing), std::tuple(105, Errored, Executing),
        std::tuple(106, Errored, Executing), std::tuple(404, Executing, Waiting),
        std::tuple(-1001, Executing, Waiting)}) {
    SCOPED_TRACE(code);
    ZRDownloadManager::shutdown();
    setupWithSlots(1);
    const auto failing = add("a");
    const auto waiting = add("b");
    failing->invokeErrorNotifi(ZRError("elsewhere", code, "why"));  // the domain does not count
    EXPECT_EQ(failing->taskState(), failingEnds);
    EXPECT_EQ(waiting->taskState(), waitingEnds);
    EXPECT_EQ(failing->err().has_value(), failingEnds == Errored);
  }
}

TEST_F(ZRDownloadManagerTest, removedTaskFreesItsSlotUnlessItsConnectionWasLost) {
  setupWithSlots(1);
  const auto running = add("a");
  const auto next = add("b");
  manager()->removeTask(running);
  EXPECT_TRUE(running->isPaused());
  EXPECT_EQ(running->cleans, 1);
  EXPECT_TRUE(next->isExecuting());
  EXPECT_TRUE(logged(1, "rm:a"));
  next->invokeCompletionNotifi();
  manager()->removeTask(next);
  EXPECT_EQ(manager()->allFinishedTaskArr(), ZRTaskList());
  EXPECT_EQ(manager()->allUnFinishTaskArr(), ZRTaskList());

  const auto lost = add("c");
  lost->invokeErrorNotifi({ZRErrorCode::ConnectionLost, ""});
  const auto waiting = add("d");
  EXPECT_TRUE(waiting->isWaiting());
  manager()->removeTask(lost);  // errored, so it stays in the executing list
  EXPECT_TRUE(waiting->isWaiting());
  EXPECT_EQ(lost->cleans, 1);
}

// What the host hears.

TEST_F(ZRDownloadManagerTest, recordsRenderTheirFormatsAsTheyStandInTheCode) {
  struct Undescribed {
    std::string description() const {
      ADD_FAILURE() << "described without a logger";
      return {};
    }
  };
  manager()->log(0, nullptr, "%@", Undescribed());
  std::vector<ZRDictionary> records;
  manager()->setLoggerHandler([&records](const ZRDictionary& record, const ZRValue& reserved) {
    EXPECT_TRUE(reserved.isNull());
    records.push_back(record);
  });
  const auto record = [](unsigned level, const char* tag, const char* message) {
    return ZRDictionary{{"level", level}, {"tag", tag}, {"msg", message}};
  };
  manager()->log(2, nullptr, "plain");
  manager()->log(0, "tag", "100%% of %ld", 7);
  manager()->log(0, nullptr, "ts:%ld/%ld use %0.2f s;", std::int64_t{-9'000'000'000}, std::int64_t{12}, 1.005);
  manager()->log(0, nullptr, "%@|%@|%@|%@", std::make_shared<ProbeTask>("【a】"), std::shared_ptr<ProbeTask>(),
                 std::optional<std::string>(), std::string("50% %@ {}"));
  manager()->log(0, nullptr, "MaxConcurrent %u %llu %d", std::uint8_t{200}, std::uint64_t{1} << 63, -3);
  manager()->log(0, nullptr, "ends with %");
  manager()->log(0, nullptr, "too few %ld %ld", 1);
  manager()->log(0, nullptr, "wrong type %ld", "text");
  EXPECT_EQ(records, std::vector<ZRDictionary>({record(2, "", "plain"), record(0, "tag", "100% of 7"),
                                                record(0, "", "ts:-9000000000/12 use 1.00 s;"),
                                                record(0, "", "【a】|(null)|(null)|50% %@ {}"),
                                                record(0, "", "MaxConcurrent 200 9223372036854775808 -3")}));
}

TEST_F(ZRDownloadManagerTest, reportHandlerIsLookedUpAtEachReport) {
  manager()->cc(201, 5);  // nobody listens yet
  manager()->setup(options());
  manager()->cc(202, -1);
  EXPECT_EQ(reports_, std::vector<ZRDictionary>({{{"stype", 202U}, {"version", -1}}}));
  manager()->setup({});
  manager()->cc(202, 1);
  EXPECT_EQ(reports_.size(), 1U);
}

}  // namespace
