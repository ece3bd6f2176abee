#include "ShareFixture.h"
#include "ZR73Mp4TaskRunner.h"
#include "ZRArchivedText.h"

using namespace std::string_literals;

namespace {

/// Tasks that do not run, and their rows.
class ZRShareTaskRunnerTest : public ShareFixture {
 protected:
  ZRShareTaskRunnerTest() { manager()->setMaxConcurrentOperationCount(0); }

  /// Changes the rows while no task writes them, then loads them.
  void restartWithRows(const std::string& changes) {
    restart();
    ASSERT_TRUE(update("UPDATE task_share_meta_tb SET " + changes));
    restart();
  }
};

TEST_F(ZRShareTaskRunnerTest, namesFollowFromTheParameters) {
  const auto task = Runner::taskWithParams(params({{"videoName", "电影"}}));
  task->setPkid(5);
  EXPECT_EQ(std::tuple(task->taskId(), task->localRelativeFilePath()), std::tuple("share-5", "a1/v1/电影"));
  EXPECT_EQ(std::tuple(task->localFullFilePath(), task->coverFilePath()), std::tuple(file("电影"), file("v1.jpg")));
  EXPECT_EQ(task->remainedFailedRetryTimes(), 3);
  EXPECT_EQ(task->videoInfoDic(), task->shareDownloadModel()->toDic());
  writeFile(file("v1.jpg"), "cover");
  EXPECT_EQ((*task->videoInfoDic())["cover"], ZRValue(file("v1.jpg")));
}

TEST_F(ZRShareTaskRunnerTest, missingParametersLeaveTheTaskUsable) {
  const auto task = Runner::taskWithParams({});
  EXPECT_TRUE(!task->videoInfoDic() && !task->localFullFilePath() && !task->localRelativeFilePath());
  EXPECT_EQ(task->currentDownloadProgress(), 0);
  EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Refused);
  task->resume();
  task->cleanDownloadFiles();
  EXPECT_FALSE(fs::exists(shares()));
}

TEST_F(ZRShareTaskRunnerTest, siblingsAreTheSharesOfTheSameAlbum) {
  const auto make = [&](const ZRValue& album) -> std::shared_ptr<ZRDownloadTask> {
    return Runner::taskWithParams(params({{"albumId", album}}));
  };
  const auto task = make("7");
  const auto sibling = make(7);
  const auto other = ZR73Mp4TaskRunner::taskWithParams({{"vid", 7}, {"version", 1}});
  EXPECT_EQ(task->filtedSameAlbumTasks({other, sibling, make("8"), make({}), task}), (ZRTaskList{sibling, task}));
  EXPECT_EQ(make({})->filtedSameAlbumTasks({task, make({})}), ZRTaskList());
}

TEST_F(ZRShareTaskRunnerTest, newParametersReplaceFourFieldsAndAreStored) {
  add(params({{"duration", 90}}))
      ->syncToDBWithShareParams({{"host", "http://new"}, {"videoName", "New"}, {"vid", "x"}, {"duration", 1}});
  const auto model = unfinishedOf<Runner>()->shareDownloadModel();
  EXPECT_EQ(queried("SELECT shareDownloadModel FROM task_share_meta_tb"), zrArchivedText(model.get()));
  EXPECT_EQ(std::tuple(model->host(), model->videoName(), model->vid()), std::tuple("http://new", "New", "v1"));
  EXPECT_TRUE(!model->deviceName() && !model->albumName() && model->duration() == 90);
}

TEST_F(ZRShareTaskRunnerTest, sameVideoInTwoAlbumsIsTwoTasks) {
  const auto first = add(params());
  const auto second = add(params({{"albumId", "a2"}}));
  EXPECT_EQ(manager()->addTask(Runner::taskWithParams(params())), ZRAddTaskResult::Exists);
  EXPECT_EQ(second->queryPrimaryKeySQL(), "SELECT pkid from task_share_meta_tb WHERE vid = 'v1' and aid = 'a2' ");
  for (const auto& task : {first, second}) writeFile(*task->videoSavePath(), *task->aid());
  manager()->removeTask(first);
  EXPECT_FALSE(fs::exists(file("movie")));
  EXPECT_EQ(readFile(file("movie", "a2/v1")), "a2");
  EXPECT_EQ(queried("SELECT count(*) || aid FROM task_share_meta_tb"), "1a2");
}

TEST_F(ZRShareTaskRunnerTest, loadedTaskHasItsModelAndNoRetries) {
  const auto all = params({{"shareUrl", "http://s"}, {"fileSize", 1LL << 40}, {"duration", 90}, {"videoName", "it's"}});
  const auto before = add(all)->videoInfoDic();
  EXPECT_EQ(queried("SELECT instr(shareDownloadModel, char(13, 10)) FROM task_share_meta_tb"), "65");  // in lines
  add(params({{"vid", "done"}}));
  restartWithRows("taskState = 4 * pkid - 4, downloadedBytes = 9, timestamp = 13.5, activeTimestamp = 14.5, vid = 'x'");
  EXPECT_TRUE(logged(1, "share:1/2"));
  EXPECT_EQ(manager()->allFinishedTaskArr().size(), 1U);
  const auto task = unfinishedOf<Runner>();
  EXPECT_EQ(task->videoInfoDic(), before);
  EXPECT_EQ(std::tuple(task->vid(), task->downloadedBytes()), std::tuple("v1", 9U));
  EXPECT_EQ(std::tuple(task->timestamp(), task->activeTimestamp()), std::tuple(13.5, 14.5));
  EXPECT_TRUE(task->isPaused());
  EXPECT_EQ(task->remainedFailedRetryTimes(), 0);
}

TEST_F(ZRShareTaskRunnerTest, damagedModelLeavesATaskWithoutOne) {
  for (const char* model : {"''", "NULL", "'AAAA'", "7"}) {
    add(params());
    restartWithRows("shareDownloadModel = " + std::string(model));
    const auto loaded = unfinishedOf<Runner>();
    EXPECT_TRUE(!loaded->shareDownloadModel() && !loaded->videoInfoDic()) << model;
    loaded->resume();
    EXPECT_EQ(caughtError(*loaded), offline_);
    manager()->removeTask(loaded);
  }
}

TEST_F(ZRShareTaskRunnerTest, idThatWouldEndItsLiteralKeepsTheTaskOutOfTheStore) {
  for (const std::string& id : {"' or '1'='1"s, "x\0y"s}) {
    for (const char* key : {"vid", "albumId"}) {
      EXPECT_EQ(manager()->addTask(Runner::taskWithParams(params({{key, id}}))), ZRAddTaskResult::Refused);
    }
  }
}

}  // namespace
