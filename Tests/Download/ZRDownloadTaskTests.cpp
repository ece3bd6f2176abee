#include <chrono>
#include <thread>

#include "LibraryFixture.h"
#include "ManualRunLoop.h"
#include "ProbeTask.h"

namespace {

using std::chrono::milliseconds;
using State = ZRTaskState;

class ZRDownloadTaskTest : public LibraryFixture {
 protected:
  ZRDownloadTaskTest() {
    ZRRunLoop::setMain(manual_);
    ZRClock::setSource([this] { return 978307200 + now_; });
    manager()->setup(options());
    reports_.clear();
  }

  std::shared_ptr<ManualRunLoop> manual_ = std::make_shared<ManualRunLoop>();
  double now_ = 500;
  std::shared_ptr<ProbeTask> task_ = std::make_shared<ProbeTask>("t");
};

TEST_F(ZRDownloadTaskTest, everyEntryIntoAStateStampsReportsAndStores) {
  struct Case {
    State from, to;
    double stamp;
    std::size_t finishReports;
  };
  const double before = 100;
  for (const Case& c :
       {Case{State::Paused, State::Waiting, 500, 0}, Case{State::Paused, State::Executing, 500, 0},
        Case{State::Executing, State::Paused, 0, 0}, Case{State::Waiting, State::Paused, 0, 0},
        Case{State::Executing, State::Finished, before, 1}, Case{State::Executing, State::Errored, before, 0}}) {
    SCOPED_TRACE(static_cast<int>(c.from) * 10 + static_cast<int>(c.to));
    const auto task = std::make_shared<ProbeTask>("t");
    task->updateTaskStateIvar(c.from);
    task->setActiveTimestamp(before);
    reports_.clear();
    task->setTaskState(c.to);
    EXPECT_EQ(task->taskState(), c.to);
    EXPECT_EQ(task->activeTimestamp(), c.stamp);
    EXPECT_EQ(task->syncs, 1);
    ASSERT_EQ(reports_.size(), c.finishReports);
    if (c.finishReports == 1) {
      EXPECT_EQ(reports_[0], (ZRDictionary{{"stype", 202U}, {"version", 21}}));
    }
  }
}

TEST_F(ZRDownloadTaskTest, settingTheStateItHasDoesNothing) {
  task_->setTaskState(State::Executing);
  now_ = 600;
  manual_->advance(milliseconds(600));
  task_->setTaskState(State::Executing);
  EXPECT_EQ(task_->activeTimestamp(), 500);
  EXPECT_EQ(task_->syncs, 1);
  task_->setTransferedPerSecond(1024);
  manual_->advance(milliseconds(500));  // the timer still fires a second after the first switch
  EXPECT_EQ(task_->transferedPerSecond(), 0);
}

TEST_F(ZRDownloadTaskTest, speedIsTheMeanOfTheLastThreeSeconds) {
  task_->setTaskState(State::Executing);
  EXPECT_EQ(task_->currentDownloadSpeed(), 0);
  for (const std::int64_t bytes : {1024, 2048, 3072}) {
    task_->setTransferedPerSecond(bytes);
    manual_->advance(milliseconds(1000));
  }
  EXPECT_EQ(task_->currentDownloadSpeed(), 2.0);
  for (const std::int64_t bytes : {4096, 5120}) {
    task_->setTransferedPerSecond(bytes);
    manual_->advance(milliseconds(1000));
  }
  EXPECT_EQ(task_->currentDownloadSpeed(), 4.0);
}

TEST_F(ZRDownloadTaskTest, timerIsParkedUnlessExecutingAndHarmlessAfterTheTask) {
  task_->setTaskState(State::Executing);
  task_->setTransferedPerSecond(1024);
  manual_->advance(milliseconds(1000));
  task_->setTaskState(State::Waiting);
  EXPECT_EQ(task_->currentDownloadSpeed(), 0);
  EXPECT_EQ(manual_->pendingDelayed(), 0U);
  task_->setTaskState(State::Executing);
  EXPECT_EQ(manual_->pendingDelayed(), 1U);
  task_.reset();
  manual_->advance(milliseconds(5000));
  EXPECT_EQ(manual_->pendingDelayed(), 0U);
}

TEST_F(ZRDownloadTaskTest, speedTimerMovesItselfToTheMainLoop) {
  class Exposed final : public ZRDownloadTask {
   public:
    using ZRDownloadTask::resetSpeedTimer;
  };
  const auto task = std::make_shared<Exposed>();
  std::thread([&task] { task->resetSpeedTimer(); }).join();
  EXPECT_EQ(manual_->pendingDelayed(), 0U);
  manual_->drain();
  EXPECT_EQ(manual_->pendingDelayed(), 1U);
}

TEST_F(ZRDownloadTaskTest, oneGibibyteIsNotEnoughAndOneByteMoreIs) {
  setFreeBytes(std::uint64_t{1} << 30);
  EXPECT_FALSE(task_->hasEnoughDiskSpace());
  EXPECT_TRUE(logged(0, "Disk Capacity of 536 GB with 1 GB Free memory available."));
  setFreeBytes((std::uint64_t{1} << 30) + 1);
  EXPECT_TRUE(task_->hasEnoughDiskSpace());
}

TEST_F(ZRDownloadTaskTest, unreadableVolumeCountsAsFull) {
  ZRHost::setVolumeProbe([](const std::string&) { return ZRError("POSIX", 5, "io"); });
  EXPECT_FALSE(task_->hasEnoughDiskSpace());
  EXPECT_TRUE(logged(2, "Error Obtaining System Disk Info: Domain = POSIX, Code = 5"));
}

TEST_F(ZRDownloadTaskTest, switchStateTogglesThroughTheManager) {
  ASSERT_EQ(manager()->addTask(task_), ZRAddTaskResult::Added);
  struct Case {
    State from, to;
  };
  for (const Case& c : {Case{State::Executing, State::Paused}, Case{State::Paused, State::Executing},
                        Case{State::Errored, State::Executing}, Case{State::Finished, State::Finished}}) {
    task_->updateTaskStateIvar(c.from);
    task_->switchState();
    EXPECT_EQ(task_->taskState(), c.to);
  }
}

TEST_F(ZRDownloadTaskTest, taskOfNoRunnerIsInertAndRefused) {
  class Bare final : public ZRDownloadTask {};
  const auto bare = std::make_shared<Bare>();
  EXPECT_EQ(manager()->addTask(bare), ZRAddTaskResult::Refused);
  bare->switch2Pause();
  bare->forceError({ZRErrorCode::DiskFull, ""});
  bare->cleanDownloadFiles();
  EXPECT_TRUE(bare->isPaused());
  EXPECT_FALSE(bare->err());
  bare->setPkid(-7);
  EXPECT_EQ(bare->taskId(), "-7");
}

}  // namespace
