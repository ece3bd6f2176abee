#include <atomic>
#include <optional>
#include <thread>

#include "LibraryFixture.h"
#include "ProbeTask.h"

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
};

TEST_F(ZRDownloadManagerTest, optionsAreReplacedAndTouchNoTask) {
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 3);
  setupWithSlots(1);
  EXPECT_TRUE(logged(0, "成功打开数据库:" + downloadFolder() + "/zrdownloadkit.db"));
  const auto running = add("a");
  const auto waiting = add("b");
  const auto db = manager()->db();
  manager()->setup({{"fetch_mky_handler", 5},
                    {"logger_handler", ZRRequestHandler([](const ZRDictionary&, ZRReplyCompletion) {})},
                    {"ignore_h265", "1"},
                    {"max_concurrent_count", 300}});
  EXPECT_FALSE(manager()->fetchMkeyHandler() || manager()->loggerHandler()) << "another type counts as absent";
  EXPECT_TRUE(manager()->ignoreH265());
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 44) << "8 bits of it";
  EXPECT_TRUE(running->isExecuting() && waiting->isWaiting());
  manager()->setup(options({{"fetch_73info_handler", 1}}));
  EXPECT_TRUE(logged(2, "unknown option: fetch_73info_handler"));
  EXPECT_FALSE(manager()->ignoreH265());
  EXPECT_EQ(std::tuple(manager()->db(), manager()->allUnFinishTaskArr().size()), std::tuple(db, 2U));
  static_assert(!std::is_constructible_v<ZRFetchMkeyHandler, ZRDecryptionHandler>);
}

TEST_F(ZRDownloadManagerTest, albumSharesItsFirstTasksTimestamp) {
  double now = 1000;
  ZRClock::setSource([&now] { return 978307200 + now; });
  manager()->setup(options());
  const auto first = add("a", 7);
  now = 2000;
  const auto second = add("b", 7);
  EXPECT_EQ(std::tuple(second->timestamp(), add("c", 8)->timestamp()), std::tuple(1000, 2000));
  for (const auto& task : {second, first}) {
    now += 1000;
    task->invokeCompletionNotifi();
    EXPECT_EQ(task->timestamp(), 3000) << "the first of its album among the finished ones";
  }
}

TEST_F(ZRDownloadManagerTest, hostHearsWhenListsAndSlotsAreDone) {
  std::string heard;  // what, and then: the number of slots taken, the unfinished tasks' states, how many are finished
  const auto hear = [&heard](const std::string& what) {
    heard += " " + what + " " + std::to_string(manager()->executingQueue().size()) + ":";
    for (const auto& task : manager()->allUnFinishTaskArr())
      heard += std::to_string(static_cast<int>(task->taskState()));
    heard += "/" + std::to_string(manager()->allFinishedTaskArr().size());
  };
  auto given = std::make_shared<ProbeTask>("a");
  const auto a = std::weak_ptr(given);
  const auto b = std::make_shared<ProbeTask>("b");
  std::vector<ZRNotificationCenter::Token> observers;
  for (const char* name : {kZRDownloadTaskCreatedSuccNotifi, kZRDownloadTaskFinishedNotifi,
                           kZRDownloadTaskStateChangedNotifi, kZRDownloadTaskErrorNotifi}) {
    observers.push_back(ZRNotificationCenter::defaultCenter().addObserver(name, [&](const ZRNotification& posted) {
      const auto task = posted.objectAs<ZRDownloadTask>();
      const std::string failure = task->lastFailure() ? "!" + std::to_string(task->lastFailure()->code()) : "";
      hear(posted.name.substr(15, 1) + task->taskId() + failure);
      if (posted.name == kZRDownloadTaskErrorNotifi && failure == "!103") manager()->resumeTask(a.lock());
    }));
  }
  manager()->setup(options({{"max_concurrent_count", 1},
                            {"cc_report_handler", ZRReportHandler([&](const ZRDictionary& report, const ZRValue&) {
                               EXPECT_EQ(report["version"], ZRValue(21));
                               hear(report["stype"].textValue().value());
                               given.reset();  // what the caller does with its own pointer is its own business
                             })}}));
  using enum ZRAddTaskResult;
  const auto refused = std::make_shared<ProbeTask>("c");
  refused->refuseInsert = true;
  const std::tuple<const char*, std::function<void()>, const char*> cases[] = {
      {"added", [&] { EXPECT_EQ(manager()->addTask(given), Added); }, " 201 1:2/0 Ca 1:2/0 Sa 1:2/0"},
      {"no slot", [&] { EXPECT_EQ(manager()->addTask(b), Added); }, " 201 1:21/0 Cb 1:21/0 Sb 1:21/0"},
      {"there", [&] { EXPECT_EQ(manager()->addTask(b), Exists); }, ""},
      {"refused", [&] { EXPECT_EQ(manager()->addTask(refused), Refused); }, ""},
      {"null", [&] { EXPECT_EQ(manager()->addTask(nullptr), Refused); }, ""},
      {"left alone", [&] { a.lock()->invokeErrorNotifi(ZRError("", 403, "")); }, " Ea!403 1:21/0"},
      {"displaced", [&] { manager()->resumeTask(b); }, " Sa 1:12/0 Sb 1:12/0"},
      {"failed, the other started", [&] { b->invokeErrorNotifi(ZRError("", 103, "")); },
       " Eb!103 1:23/0 Sb!103 1:23/0 Sa 1:23/0"},
      {"finished", [&] { a.lock()->invokeCompletionNotifi(); }, " 202 0:3/1 Fa 0:3/1 Sa 0:3/1"},
      {"removed", [&] { manager()->removeTask(a.lock()); }, " Sa 0:3/0"},
      {"paused", [&] { manager()->pauseAllTasks(); }, " Sb!103 0:0/0"},
      {"by itself", [&] { b->resume(); }, " Sb 0:2/0"},
  };
  for (const auto& [name, act, expected] : cases) {
    heard.clear();
    act();
    EXPECT_EQ(heard, expected) << name;
  }
  EXPECT_EQ(b->preloads, 1);
  EXPECT_TRUE(logged(1, "add:a"));
}

TEST_F(ZRDownloadManagerTest, callbackReplacedWhileItRunsLives) {
  int calls = 0;
  const auto replaceAll = [&calls](const std::weak_ptr<int> property) {
    manager()->setup({});
    manager()->setLoggerHandler({});
    calls += property.expired() ? 0 : 1;
  };
  const auto handler = [&replaceAll] {
    return [&replaceAll, own = std::make_shared<int>()](const auto&, const auto&) { replaceAll(own); };
  };
  for (const auto& call : std::initializer_list<std::function<void()>>{
           [] { manager()->log(Trace, nullptr, "x"); }, [] { manager()->cc(201, 1); },
           [] { manager()->fetchMkey({}, {}); }, [] { manager()->fetch73VideoInfo({}, {}); }}) {
    manager()->setup({{"logger_handler", ZRRecordHandler(handler())},
                      {"cc_report_handler", ZRRecordHandler(handler())},
                      {"fetch_mky_handler", ZRRequestHandler(handler())},
                      {"fetch_73Info_Handler", ZRRequestHandler(handler())}});
    call();
    call();  // nobody listens any more
  }
  EXPECT_EQ(calls, 4);
}

TEST_F(ZRDownloadManagerTest, recordsOfAnotherThreadReachALogger) {
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

TEST_F(ZRDownloadManagerTest, recordsThatNobodyHearsAreNotMade) {
  struct Described {
    std::string& levels;
    unsigned level;
    std::string description() const { return levels += std::to_string(level), ""; }
  };
  const auto madeOf = [](const std::optional<ZRDictionary>& options) {
    std::string made;
    if (options) manager()->setup(*options);
    for (const auto level : {0U, 1U, 2U}) manager()->log(ZRLogLevel{level}, nullptr, "%@", Described{made, level});
    return made;
  };
  EXPECT_EQ(madeOf(std::nullopt) + madeOf(ZRDictionary{}), "") << "without a logger";
  const std::pair<ZRValue, const char*> cases[] = {{2, "2"},   {{}, "012"}, {1, "12"}, {"2", "2"},   {0, "012"},
                                                   {300, "2"}, {-1, "012"}, {1, "12"}, {"no", "012"}};
  for (const auto& [level, made] : cases) {
    EXPECT_EQ(madeOf(options({{"logger_level", level}})), made) << level.textValue().value_or("absent");
  }
  manager()->setup(options({kZROptionLoggerLevel = Failure}));
  manager()->setLoggerHandler([](const ZRDictionary&, const ZRValue&) {});
  EXPECT_EQ(madeOf(std::nullopt), "2") << "another logger at the same level";
}

TEST_F(ZRDownloadManagerTest, recordsRenderTheirFormats) {
  std::vector<ZRDictionary> records;
  manager()->setLoggerHandler([&records](const ZRDictionary& record, const ZRValue& reserved) {
    EXPECT_TRUE(reserved.isNull());
    records.push_back(record);
  });
  manager()->log(Failure, "tag", "100%% of %ld", 7);
  manager()->log(Trace, nullptr, "ts:%ld/%ld use %0.2f s;", std::int64_t{-9'000'000'000}, std::int64_t{12}, 1.005);
  manager()->log(Event, nullptr, "%@|%@|%@|%@", std::make_shared<ProbeTask>("【a】"), std::shared_ptr<ProbeTask>(),
                 std::optional<std::string>(), std::string("50% %@ {}"));
  manager()->log(Trace, nullptr, "MaxConcurrent %u %llu %d", std::uint8_t{200}, std::uint64_t{1} << 63, -3);
  manager()->log(Trace, nullptr, "ends with %");
  manager()->log(Trace, nullptr, "too few %ld %ld", 1);
  manager()->log(Trace, nullptr, "wrong type %ld", "text");
  EXPECT_EQ(records, std::vector<ZRDictionary>(
                         {{{"level", 2U}, {"tag", "tag"}, {"msg", "100% of 7"}},
                          {{"level", 0U}, {"tag", ""}, {"msg", "ts:-9000000000/12 use 1.00 s;"}},
                          {{"level", 1U}, {"tag", ""}, {"msg", "【a】|(null)|(null)|50% %@ {}"}},
                          {{"level", 0U}, {"tag", ""}, {"msg", "MaxConcurrent 200 9223372036854775808 -3"}}}));
}

}  // namespace
