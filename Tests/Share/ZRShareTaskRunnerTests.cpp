#include "ShareFixture.h"
#include "ZR73Mp4TaskRunner.h"

namespace {

using ZRShareTaskRunnerTest = ShareFixture;

TEST_F(ZRShareTaskRunnerTest, namesFollowFromTheParameters) {
  const auto task = Runner::taskWithParams(params({{"videoName", "电影"}}));
  task->setPkid(5);
  EXPECT_EQ(task->taskId(), "share-5");
  EXPECT_EQ(task->localRelativeFilePath(), "a1/v1/电影");
  EXPECT_EQ(task->localFullFilePath(), file("电影"));
  EXPECT_EQ(task->coverFilePath(), file("v1.jpg"));
  EXPECT_EQ(task->remainedFailedRetryTimes(), 3);
  EXPECT_EQ(task->videoInfoDic(), task->shareDownloadModel()->toDic());
  writeFile(file("v1.jpg"), "cover");
  EXPECT_EQ((*task->videoInfoDic())["cover"], ZRValue(file("v1.jpg")));
}

TEST_F(ZRShareTaskRunnerTest, missingParametersLeaveTheTaskUsable) {
  const auto task = Runner::taskWithParams({});
  EXPECT_EQ(task->videoInfoDic(), std::nullopt);
  EXPECT_EQ(task->localFullFilePath(), std::nullopt);
  EXPECT_EQ(task->localRelativeFilePath(), std::nullopt);
  EXPECT_EQ(task->currentDownloadProgress(), 0);
  EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Refused);
  EXPECT_EQ(queried("SELECT count(*) FROM task_share_meta_tb"), "0");
  task->resume();
  task->cleanDownloadFiles();
  EXPECT_FALSE(std::filesystem::exists(shares()));
}

TEST_F(ZRShareTaskRunnerTest, siblingsAreTheSharesOfTheSameAlbum) {
  const auto make = [&](const ZRValue& vid, const ZRValue& album) -> std::shared_ptr<ZRDownloadTask> {
    return Runner::taskWithParams(params({{"vid", vid}, {"albumId", album}}));
  };
  const auto task = make("1", "7");
  const auto sibling = make("2", 7);
  const auto other = ZR73Mp4TaskRunner::taskWithParams({{"vid", 7}, {"version", 1}});
  EXPECT_EQ(task->filtedSameAlbumTasks({other, sibling, make("1", "8"), make("1", {}), task, nullptr}),
            (ZRTaskList{sibling, task}));
  EXPECT_EQ(make("1", {})->filtedSameAlbumTasks({task, make("2", {})}), ZRTaskList());
}

TEST_F(ZRShareTaskRunnerTest, newParametersReplaceFourFieldsAndAreStored) {
  manager()->setMaxConcurrentOperationCount(0);
  const auto task = add(params({{"duration", 90}}));
  task->syncToDBWithShareParams({{"host", "http://new"}, {"videoName", "New"}, {"vid", "x"}, {"duration", 1}});
  restart();
  const auto& model = *unfinishedOf<Runner>()->shareDownloadModel();
  EXPECT_EQ(model.host(), "http://new");
  EXPECT_EQ(model.videoName(), "New");
  EXPECT_EQ(model.deviceName(), std::nullopt);
  EXPECT_EQ(model.albumName(), std::nullopt);
  EXPECT_EQ(model.vid(), "v1");
  EXPECT_EQ(model.duration(), 90);
}

}  // namespace
