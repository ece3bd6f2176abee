#include "LibraryFixture.h"
#include "ProbeTask.h"

namespace {

class ZRDownloadManagerSwitchTaskTest : public LibraryFixture {
 protected:
  ZRDownloadManagerSwitchTaskTest() {
    ZRClock::setSource([this] { return 978307200 + ++now_; });  // no two tasks begin to wait at once
  }

  std::vector<std::shared_ptr<ProbeTask>> add(int count) {
    std::vector<std::shared_ptr<ProbeTask>> tasks;
    for (int i = 0; i < count; ++i) {
      tasks.push_back(std::make_shared<ProbeTask>(std::string(1, static_cast<char>('a' + i))));
      EXPECT_EQ(manager()->addTask(tasks.back()), ZRAddTaskResult::Added);
    }
    log_.clear();
    return tasks;
  }

  static std::string states(const std::vector<std::shared_ptr<ProbeTask>>& tasks) {
    std::string text;
    for (const auto& task : tasks) text += "PWXEF"[static_cast<std::size_t>(task->taskState())];
    return text;
  }

  double now_ = 0;
};

TEST_F(ZRDownloadManagerSwitchTaskTest, resumedWaitingTaskDisplacesTheLongestAdmitted) {
  manager()->setup(options());
  const auto tasks = add(4);
  ASSERT_EQ(states(tasks), "XXXW");
  manager()->resumeTask(tasks[3]);
  EXPECT_EQ(states(tasks), "WXXX");
  EXPECT_TRUE(logged(0, "wait a then resume:d"));
}

TEST_F(ZRDownloadManagerSwitchTaskTest, resumedPausedTaskOnlyWaits) {
  manager()->setup(options());
  const auto tasks = add(4);
  manager()->pauseTask(tasks[3]);
  ASSERT_EQ(states(tasks), "XXXP");
  manager()->resumeTask(tasks[3]);
  EXPECT_EQ(states(tasks), "XXXW");
  EXPECT_TRUE(logged(0, "wait:d"));
}

TEST_F(ZRDownloadManagerSwitchTaskTest, resumingAnAdmittedTaskResumesItInPlace) {
  manager()->setup(options());
  const auto tasks = add(4);
  manager()->resumeTask(tasks[1]);
  EXPECT_EQ(states(tasks), "XXXW");
  EXPECT_EQ(tasks[1]->resumes, 2);
  EXPECT_TRUE(logged(0, "already in queue，reume it !"));
}

TEST_F(ZRDownloadManagerSwitchTaskTest, freedSlotGoesToTheTaskThatWaitsLongestThenFirstInTheList) {
  manager()->setup(options({{"max_concurrent_count", 1}}));
  const auto tasks = add(4);
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
  manager()->setup(options());
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
  manager()->setup(options());
  const auto tasks = add(5);
  tasks[0]->invokeErrorNotifi({ZRErrorCode::ConnectionLost, ""});
  tasks[1]->invokeCompletionNotifi();
  ASSERT_EQ(states(tasks), "EFXXW");
  manager()->pauseAllTasks();
  EXPECT_EQ(states(tasks), "PFPPP");
  manager()->starTasks({tasks[4], tasks[1], tasks[3]});
  EXPECT_EQ(states(tasks), "PFPXX");  // also the slot of the errored one is free again
}

TEST_F(ZRDownloadManagerSwitchTaskTest, startingNoTasksFillsFreeSlots) {
  manager()->setup(options({{"max_concurrent_count", 0}}));
  const auto tasks = add(2);
  manager()->setup(options({{"max_concurrent_count", 1}}));
  manager()->starTasks({});
  EXPECT_EQ(states(tasks), "XW");
}

TEST_F(ZRDownloadManagerSwitchTaskTest, finishedTaskCannotBeResumedOrPaused) {
  manager()->setup(options());
  const auto tasks = add(1);
  tasks[0]->invokeCompletionNotifi();
  manager()->resumeTask(tasks[0]);
  manager()->pauseTask(tasks[0]);
  EXPECT_EQ(states(tasks), "F");
  EXPECT_EQ(manager()->allFinishedTaskArr().size(), 1U);
}

TEST_F(ZRDownloadManagerSwitchTaskTest, longRowOfTasksThatFailAtOnceCostsNoStack) {
  manager()->setup(options({{"max_concurrent_count", 0}, {"logger_handler", ZRValue()}}));
  std::vector<std::shared_ptr<ProbeTask>> tasks;
  for (int i = 0; i < 5000; ++i) {
    tasks.push_back(std::make_shared<ProbeTask>("t"));
    tasks.back()->failOnResume = ZRError(ZRErrorCode::ResourceUnusable, "");
    ASSERT_EQ(manager()->addTask(tasks.back()), ZRAddTaskResult::Added);
  }
  manager()->setMaxConcurrentOperationCount(2);
  for (const auto& task : tasks) ASSERT_TRUE(task->isErrored());
}

}  // namespace
