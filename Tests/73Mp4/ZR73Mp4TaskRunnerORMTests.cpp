#include "LibraryFixture.h"
#include "ZR73Mp4TaskRunner.h"
#include "ZRDownloadDataBase.h"

namespace {

class ZR73Mp4TaskRunnerORMTest : public LibraryFixture {
 protected:
  ZR73Mp4TaskRunnerORMTest() { manager()->setup(quietHost()); }

  /// A host that answers every request for metadata with `metadata_`.
  ZRDictionary quietHost() {
    return options(
        {{"max_concurrent_count", 0},
         {"fetch_73Info_Handler", ZRFetch73InfoHandler([this](const ZRDictionary&, const ZRReplyCompletion& reply) {
            reply(metadata_, std::nullopt);
          })}});
  }

  static std::shared_ptr<ZRDownloadTask> make(const ZRDictionary& params = {{"vid", 123}, {"version", 2}}) {
    return ZRDownloadTask::taskWith73Params(params);
  }

  static std::shared_ptr<ZR73Mp4TaskRunner> firstUnfinished() {
    return std::dynamic_pointer_cast<ZR73Mp4TaskRunner>(manager()->allUnFinishTaskArr().at(0));
  }

  static std::string column(const std::string& expression) {
    std::string text = "no row";
    manager()->db()->executeQuery("SELECT " + expression + " FROM task_73_meta_tb", [&text](ZRResultSet* rows) {
      if (rows != nullptr && rows->next()) text = rows->textForColumnIndex(0).value_or("NULL");
    });
    return text;
  }

  std::optional<ZRDictionary> metadata_;
};

TEST_F(ZR73Mp4TaskRunnerORMTest, tableHoldsTheThirteenColumnsAfterTheKey) {
  std::string sql;
  manager()->db()->executeQuery("SELECT sql FROM sqlite_master WHERE name = 'task_73_meta_tb'",
                                [&sql](ZRResultSet* rows) {
                                  if (rows != nullptr && rows->next()) sql = rows->textForColumnIndex(0).value_or("");
                                });
  EXPECT_EQ(sql,
            "CREATE TABLE task_73_meta_tb (pkid integer primary key ,vid INTEGER,version INTEGER,site INTEGER,"
            "downloadedBytes INTEGER,stamp DOUBLE,videoName TEXT,videoUrl TEXT,timestamp DOUBLE,activeTimestamp DOUBLE,"
            "cover TEXT,duration INTEGER,fileSize INTEGER,taskState INTEGER)");
  EXPECT_TRUE(logged(1, "73:0/0"));
}

TEST_F(ZR73Mp4TaskRunnerORMTest, textColumnsGoThroughTheirThreeStates) {
  ASSERT_EQ(manager()->addTask(make()), ZRAddTaskResult::Added);
  EXPECT_EQ(column("videoName"), "NULL");
  restart();
  EXPECT_TRUE(firstUnfinished()->videoName().isNull());
  firstUnfinished()->syncStateToDB();
  EXPECT_EQ(column("videoName || '|' || cover"), "|");  // both hold the empty string now
  EXPECT_EQ(column("videoUrl"), "NULL");
  restart();
  EXPECT_EQ(*firstUnfinished()->videoName().string(), "");
}

TEST_F(ZR73Mp4TaskRunnerORMTest, metadataSurvivesARestartButForTheAddress) {
  metadata_ = ZRDictionary{
      {"title", "片名"}, {"url", "http://v"}, {"cover", "http://c"}, {"duration", 7}, {"fileSize", 1LL << 40}};
  ASSERT_EQ(manager()->addTask(make()), ZRAddTaskResult::Added);
  EXPECT_EQ(column("site"), "3");
  restart();
  const auto task = firstUnfinished();
  EXPECT_EQ(*task->videoName().string(), "片名");
  EXPECT_EQ(*task->cover().string(), "http://c");
  EXPECT_EQ(task->fileSize(), 1LL << 40);
  EXPECT_EQ(task->vid(), 123);
  EXPECT_TRUE(task->vidoeUrl().isAbsent());
  EXPECT_EQ(task->executingPhase(), 0U);
  EXPECT_GT(task->timestamp(), 0);
}

TEST_F(ZR73Mp4TaskRunnerORMTest, unfinishedTasksComeBackPausedInRowOrderWithoutBeingWritten) {
  for (int vid = 1; vid <= 5; ++vid)
    ASSERT_EQ(manager()->addTask(make({{"vid", vid}, {"version", 2}})), ZRAddTaskResult::Added);
  auto tasks = manager()->allUnFinishTaskArr();
  tasks[0]->invokeCompletionNotifi();
  tasks[3]->invokeCompletionNotifi();
  manager()->resumeTask(tasks[1]);
  const auto update = [](const char* sql) { return manager()->db()->executeUpdate(sql); };
  ZRDownloadManager::shutdown();
  manager()->setup(options());
  ASSERT_TRUE(update("UPDATE task_73_meta_tb SET taskState = 2, activeTimestamp = 9 WHERE vid = 2"));
  ASSERT_TRUE(update("UPDATE task_73_meta_tb SET taskState = 7 WHERE vid = 3"));
  log_.clear();
  restart();
  EXPECT_TRUE(logged(1, "73:2/5"));
  std::string order;
  for (const auto& task : manager()->allUnFinishTaskArr()) {
    EXPECT_TRUE(task->isPaused());
    EXPECT_NE(task->networkAgent(), nullptr);
    order += task->taskId() + " ";
  }
  for (const auto& task : manager()->allFinishedTaskArr()) order += task->taskId() + " ";
  EXPECT_EQ(order, "73-2 73-3 73-5 73-1 73-4 ");
  EXPECT_EQ(column("max(taskState) || '/' || max(activeTimestamp = 9)"), "7/1");
}

TEST_F(ZR73Mp4TaskRunnerORMTest, sameVideoIsStoredOnceAndAnotherVersionBesideIt) {
  ASSERT_EQ(manager()->addTask(make()), ZRAddTaskResult::Added);
  EXPECT_EQ(manager()->addTask(make()), ZRAddTaskResult::Exists);
  EXPECT_EQ(manager()->addTask(make({{"vid", 123}, {"version", 1}})), ZRAddTaskResult::Added);
  manager()->removeTask(manager()->allUnFinishTaskArr()[0]);
  EXPECT_EQ(column("count(*) || version"), "11");
  EXPECT_EQ(manager()->addTask(make()), ZRAddTaskResult::Added);
}

TEST_F(ZR73Mp4TaskRunnerORMTest, quoteInATextKeepsTheTaskOutOfTheStore) {
  for (const char* cover : {"it's", "x','y", "a'||'b"}) {
    EXPECT_EQ(manager()->addTask(make({{"vid", 1}, {"version", 1}, {"cover", cover}})), ZRAddTaskResult::Refused);
  }
  EXPECT_EQ(column("count(*)"), "0");
}

TEST_F(ZR73Mp4TaskRunnerORMTest, quoteInATitleLeavesTheRowAsItWas) {
  metadata_ = ZRDictionary{{"title", "it's"}, {"fileSize", 9}};
  ASSERT_EQ(manager()->addTask(make()), ZRAddTaskResult::Added);
  EXPECT_EQ(*firstUnfinished()->videoName().string(), "it's");
  EXPECT_EQ(column("videoName"), "NULL");
  EXPECT_EQ(column("fileSize"), "0");
}

TEST_F(ZR73Mp4TaskRunnerORMTest, rowsOfAForeignTableLoadWithoutHarm) {
  const auto update = [](const char* sql) { return manager()->db()->executeUpdate(sql); };
  ASSERT_TRUE(update("DROP TABLE task_73_meta_tb"));
  ASSERT_TRUE(update("CREATE TABLE task_73_meta_tb (pkid TEXT, vid, version, stamp, fileSize, taskState)"));
  ASSERT_TRUE(update("INSERT INTO task_73_meta_tb VALUES ('x', x'00', 1e99, 9e999, 'many', -1)"));
  restart();
  const auto task = firstUnfinished();
  EXPECT_EQ(task->pkid(), 0);
  EXPECT_EQ(task->fileSize(), 0);
  EXPECT_EQ(task->valueForKey("stamp"), ZRValue(0.0));
  EXPECT_TRUE(task->valueForKey("nonsense").isAbsent());
  task->setValueForKey(4, "site");
  EXPECT_EQ(task->valueForKey("site"), ZRValue(3));
}

}  // namespace
