#include "LibraryFixture.h"
#include "ProbeTask.h"

namespace {

class ZRDownloadManagerSwitchTaskTest : public LibraryFixture {
 protected:
  using Tasks = std::vector<std::shared_ptr<ProbeTask>>;

  ZRDownloadManagerSwitchTaskTest() {
    ZRClock::setSource([this] { return 978307200 + ++now_; });  // no two tasks begin to wait at once
  }

  /// Tasks "a", "b" and so on of a host with that many slots.
  Tasks add(int count, int slots = 3) {
    manager()->setup(options({{"max_concurrent_count", slots}}));
    Tasks tasks;
    for (int i = 0; i < count; ++i) {
      tasks.push_back(std::make_shared<ProbeTask>(std::string(1, static_cast<char>('a' + i))));
      EXPECT_EQ(manager()->addTask(tasks.back()), ZRAddTaskResult::Added);
    }
    log_.clear();
    return tasks;
  }

  static std::string states(const Tasks& tasks) {
    std::string text;
    for (const auto& task : tasks) text += "PWXEF"[static_cast<std::size_t>(task->taskState())];
    return text;
  }

  double now_ = 0;
};

TEST_F(ZRDownloadManagerSwitchTaskTest, resumedTaskGoesOnInPlaceOrDisplacesTheLongestAdmittedOrOnlyWaits) {
  const auto tasks = add(4);
  ASSERT_EQ(states(tasks), "XXXW");
  manager()->resumeTask(tasks[1]);
  EXPECT_EQ(states(tasks), "XXXW");
  EXPECT_EQ(tasks[1]->resumes, 2);
  EXPECT_TRUE(logged(0, "already in queue，reume it !"));
  manager()->resumeTask(tasks[3]);
  EXPECT_EQ(states(tasks), "WXXX");
  EXPECT_TRUE(logged(0, "wait a then resume:d"));
  manager()->pauseTask(tasks[0]);
  ASSERT_EQ(states(tasks), "PXXX");
  manager()->resumeTask(tasks[0]);
  EXPECT_EQ(states(tasks), "WXXX");
  EXPECT_TRUE(logged(0, "wait:a"));
}

TEST_F(ZRDownloadManagerSwitchTaskTest, freedSlotGoesToTheTaskThatWaitsLongestThenFirstInTheList) {
  const auto tasks = add(4, 1);
  tasks[1]->setActiveTimestamp(100);
  tasks[2]->setActiveTimestamp(50);
  tasks[3]->setActiveTimestamp(50);
  manager()->pauseTask(tasks[0]);
  EXPECT_EQ(states(tasks), "PWXW");
  manager()->pauseTask(tasks[2]);
  EXPECT_EQ(states(tasks), "PWPX");
  EXPECT_TRUE(logged(0, "startNextTask?"));
  EXPECT_TRUE(logged(0, "没有并发的空间了！"));
}

TEST_F(ZRDownloadManagerSwitchTaskTest, loweredLimitSendsTheNewestBackAndARaisedOneStartsThemAgain) {
  const auto tasks = add(4);
  manager()->setMaxConcurrentOperationCount(1);
  EXPECT_EQ(states(tasks), "XWWW");
  EXPECT_EQ(messages(1), std::vector<std::string>({"冻结任务：c", "冻结任务：b", "MaxConcurrent 1"}));
  manager()->setMaxConcurrentOperationCount(3);
  EXPECT_EQ(states(tasks), "XWXX");  // d has waited since it was added, then c was sent back before b
  log_.clear();
  manager()->setMaxConcurrentOperationCount(3);
  EXPECT_TRUE(log_.empty());
}

TEST_F(ZRDownloadManagerSwitchTaskTest, pauseAllPausesEveryUnfinishedTaskAndStartsNothing) {
  const auto tasks = add(5);
  tasks[0]->invokeErrorNotifi({ZRErrorCode::ConnectionLost, ""});
  tasks[1]->invokeCompletionNotifi();
  ASSERT_EQ(states(tasks), "EFXXW");
  manager()->pauseAllTasks();
  EXPECT_EQ(states(tasks), "PFPPP");
  manager()->starTasks({tasks[4], tasks[1], tasks[3]});
  EXPECT_EQ(states(tasks), "PFPXX");  // also the slot of the errored one is free again
  manager()->resumeTask(tasks[1]);
  manager()->pauseTask(tasks[1]);
  EXPECT_EQ(states(tasks), "PFPXX");
  EXPECT_EQ(manager()->allFinishedTaskArr(), ZRTaskList({tasks[1]}));
}

TEST_F(ZRDownloadManagerSwitchTaskTest, longRowOfTasksThatFailAtOnceCostsNoStack) {
  const auto tasks = add(5000, 0);
  manager()->resumeTask(tasks[0]);
  ASSERT_EQ(states(tasks), std::string(5000, 'W'));  // without a slot
  for (const auto& task : tasks) task->failOnResume = ZRError(ZRErrorCode::ResourceUnusable, "");
  manager()->setLoggerHandler({});
  manager()->setMaxConcurrentOperationCount(2);
  EXPECT_EQ(states(tasks), std::string(5000, 'E'));
}

}  // namespace
