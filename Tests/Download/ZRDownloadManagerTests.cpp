#include <atomic>
#include <optional>
#include <thread>

#include "LibraryFixture.h"
#include "ProbeTask.h"
#include "ZRDownloadDataBase.h"

namespace {

using enum ZRLogLevel;

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
  manager()->setup(options({{"fetch_73info_handler", 1}}));
  EXPECT_TRUE(logged(2, "unknown option: fetch_73info_handler"));
  static_assert(!std::is_constructible_v<ZRFetchMkeyHandler, ZRDecryptionHandler>);
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

TEST_F(ZRDownloadManagerTest, hostHearsOfATaskWhenListsAndSlotsAreDone) {
  std::vector<std::string> heard;
  std::shared_ptr<ProbeTask> first = std::make_shared<ProbeTask>("a");
  const auto hear = [&](const std::string& what) {
    for (const auto& task : manager()->executingQueue()) EXPECT_TRUE(task->isExecuting());
    heard.push_back(what + " " + std::to_string(manager()->executingQueue().size()) + "/" +
                    std::to_string(manager()->allUnFinishTaskArr().size()) + "/" +
                    std::to_string(manager()->allFinishedTaskArr().size()));
  };
  const auto notified = [&](const ZRNotification& posted) {
    hear(posted.name.substr(15) + posted.objectAs<ZRDownloadTask>()->taskId());
  };
  const auto created = observe(kZRDownloadTaskCreatedSuccNotifi, notified);
  const auto finished = observe(kZRDownloadTaskFinishedNotifi, notified);
  manager()->setup(options({{"max_concurrent_count", 1},
                            {"cc_report_handler", ZRReportHandler([&](const ZRDictionary& report, const ZRValue&) {
                               EXPECT_EQ(report["version"], ZRValue(21));
                               hear(report["stype"].textValue().value());
                               first.reset();  // what the caller does with its own pointer is its own business
                             })}}));
  EXPECT_EQ(manager()->addTask(first), ZRAddTaskResult::Added);
  const auto running = manager()->allUnFinishTaskArr().at(0);
  EXPECT_TRUE(running->db() == manager()->db() && logged(1, "add:a"));
  const auto waiting = add("b");
  EXPECT_EQ(waiting->preloads, 1);
  running->invokeCompletionNotifi();
  const auto refused = std::make_shared<ProbeTask>("c");
  refused->refuseInsert = true;
  EXPECT_EQ(manager()->addTask(refused), ZRAddTaskResult::Refused);
  EXPECT_EQ(manager()->addTask(nullptr), ZRAddTaskResult::Refused);
  EXPECT_EQ(manager()->addTask(waiting), ZRAddTaskResult::Exists);
  EXPECT_EQ(heard, std::vector<std::string>({"201 1/1/0", "CreatedSuccNotifia 1/1/0", "201 1/2/0",
                                             "CreatedSuccNotifib 1/2/0", "202 0/1/1", "FinishedNotifia 1/1/1"}));
}

TEST_F(ZRDownloadManagerTest, callbackThatIsReplacedWhileItRunsLivesUntilItHasRun) {
  static int calls;
  calls = 0;
  /// A callback's own property, which notices when it goes too early.
  struct Witness {
    Witness() = default;
    Witness(const Witness&) {}
    ~Witness() { EXPECT_FALSE(isRunning); }
    void replaceAll() const {
      isRunning = true;
      manager()->setup({});
      manager()->setLoggerHandler({});
      isRunning = false;
      ++calls;
    }
    mutable bool isRunning = false;
  };
  const auto record = [own = Witness()](const ZRDictionary&, const ZRValue&) { own.replaceAll(); };
  const auto request = [own = Witness()](const ZRDictionary&, const ZRReplyCompletion&) { own.replaceAll(); };
  for (const auto& call : std::initializer_list<std::function<void()>>{
           [] { manager()->log(Trace, nullptr, "x"); }, [] { manager()->cc(201, 1); },
           [] { manager()->fetchMkey({}, {}); }, [] { manager()->fetch73VideoInfo({}, {}); }}) {
    manager()->setup({{"logger_handler", ZRRecordHandler(record)},
                      {"cc_report_handler", ZRRecordHandler(record)},
                      {"fetch_mky_handler", ZRRequestHandler(request)},
                      {"fetch_73Info_Handler", ZRRequestHandler(request)}});
    call();
  }
  EXPECT_EQ(calls, 4);
}

TEST_F(ZRDownloadManagerTest, recordsOfAnotherThreadReachOneOfTheLoggersWhileTheyAreReplaced) {
  constexpr int kRecords = 2000;
  std::atomic<int> heard = 0;
  const auto hear = [&] {
    return options({{"logger_handler", ZRLoggerHandler([&heard](const auto&, const auto&) { ++heard; })},
                    {"cc_report_handler", ZRReportHandler([&heard](const auto&, const auto&) { ++heard; })}});
  };
  manager()->setup(hear());
  heard = 0;
  std::atomic<bool> isDone = false;
  std::thread other([&isDone] {
    for (int i = 0; i < kRecords; ++i) {
      manager()->log(Trace, nullptr, "%d", i);
      manager()->cc(202, i);
    }
    isDone = true;
  });
  while (!isDone) manager()->setup(hear());
  other.join();
  EXPECT_EQ(heard, 2 * kRecords);
}

TEST_F(ZRDownloadManagerTest, storedTasksAreListedByTheirKindsWhateverTheOrderOfAdding) {
  setupWithSlots(0);
  for (const auto& task : {ZRDownloadTask::taskWithShareParams({{"vid", "v"}, {"albumId", "a"}}),
                           ZRDownloadTask::taskWith73Params({{"vid", 1}, {"version", 2}}),
                           ZRDownloadTask::taskWithParams({{"vid", 1}, {"site", 1}, {"version", 2}})}) {
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  }
  restart();
  std::string ids;
  for (const auto& task : manager()->allUnFinishTaskArr()) ids += task->taskId() + " ";
  EXPECT_EQ(ids, "1 73-1 share-1 ");
}

TEST_F(ZRDownloadManagerTest, changesAndErrorsAreToldWhenTheirWorkIsDone) {
  setupWithSlots(1);
  std::string told;  // what an observer sees of both tasks, by the states' numbers
  std::shared_ptr<ProbeTask> first;
  std::shared_ptr<ProbeTask> second;
  const auto tell = [&](const ZRNotification& posted) {
    told += " " + posted.objectAs<ZRDownloadTask>()->taskId();
    for (const auto& task : {first, second}) told += task ? std::to_string(static_cast<int>(task->taskState())) : "-";
  };
  const auto changes = observe(kZRDownloadTaskStateChangedNotifi, tell);
  const auto errors = observe(kZRDownloadTaskErrorNotifi, [&](const ZRNotification& posted) {
    tell(posted);
    const auto& failure = posted.objectAs<ZRDownloadTask>()->lastFailure();
    told += "!" + (failure ? std::to_string(failure->code()) : "gone");
    if (failure && failure->code() == 103) manager()->resumeTask(first);
  });
  const std::tuple<const char*, std::function<void()>, const char*> cases[] = {
      {"added", [&] { add("a"); }, " a--"},
      {"", [&] { (first = add("b"), manager()->removeTask(manager()->allUnFinishTaskArr()[0])); }, " b-- a2- b2-"},
      {"no slot", [&] { second = add("c"); }, " c2-"},
      {"left alone", [&] { first->invokeErrorNotifi(ZRError("", 403, "")); }, " b21!403"},
      {"displaced", [&] { manager()->resumeTask(second); }, " b12 c12"},
      {"failed, and started by an observer",
       [&] {
         second->invokeErrorNotifi({ZRErrorCode::ResourceUnusable, ""});
       },
       " c23!103 c23 b23"},
      {"finished", [&] { first->invokeCompletionNotifi(); }, " b43"},
      {"removed", [&] { manager()->removeTask(first); }, " b43"},
      {"paused", [&] { manager()->pauseAllTasks(); }, " c40"},
      {"by itself", [&] { second->resume(); }, " c42"},
  };
  for (const auto& [name, act, expected] : cases) {
    told.clear();
    act();
    EXPECT_EQ(told, expected) << name;
  }
}

// What the host hears.

TEST_F(ZRDownloadManagerTest, recordsRenderTheirFormatsAsTheyStandInTheCode) {
  struct Undescribed {
    std::string description() const {
      ADD_FAILURE() << "described without a logger";
      return {};
    }
  };
  manager()->log(Trace, nullptr, "%@", Undescribed());
  std::vector<ZRDictionary> records;
  manager()->setLoggerHandler([&records](const ZRDictionary& record, const ZRValue& reserved) {
    EXPECT_TRUE(reserved.isNull());
    records.push_back(record);
  });
  const auto record = [](unsigned level, const char* tag, const char* message) {
    return ZRDictionary{{"level", level}, {"tag", tag}, {"msg", message}};
  };
  manager()->log(Failure, nullptr, "plain");
  manager()->log(Trace, "tag", "100%% of %ld", 7);
  manager()->log(Trace, nullptr, "ts:%ld/%ld use %0.2f s;", std::int64_t{-9'000'000'000}, std::int64_t{12}, 1.005);
  manager()->log(Trace, nullptr, "%@|%@|%@|%@", std::make_shared<ProbeTask>("【a】"), std::shared_ptr<ProbeTask>(),
                 std::optional<std::string>(), std::string("50% %@ {}"));
  manager()->log(Trace, nullptr, "MaxConcurrent %u %llu %d", std::uint8_t{200}, std::uint64_t{1} << 63, -3);
  manager()->log(Trace, nullptr, "ends with %");
  manager()->log(Trace, nullptr, "too few %ld %ld", 1);
  manager()->log(Trace, nullptr, "wrong type %ld", "text");
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
