#include <thread>

#include "LibraryFixture.h"
#include "ManualRunLoop.h"
#include "ProbeTask.h"
#include "ZRWeakProxy.h"

namespace {

using std::chrono::milliseconds;
using enum ZRTaskState;

class ZRDownloadTaskTest : public LibraryFixture {
 protected:
  ZRDownloadTaskTest() {
    ZRClock::setSource([this] { return 978307200 + now_; });
    manager()->setup(options());
  }

  /// A second after the other, in which that many bytes arrive.
  void receive(std::initializer_list<std::int64_t> bytesPerSecond) {
    for (const std::int64_t bytes : bytesPerSecond) {
      task_->setTransferedPerSecond(bytes);
      manual_->advance(milliseconds(1000));
    }
  }

  std::shared_ptr<ManualRunLoop> manual_ = ManualRunLoop::install();
  double now_ = 500;
  std::shared_ptr<ProbeTask> task_ = std::make_shared<ProbeTask>("t");
};

TEST_F(ZRDownloadTaskTest, everyStateStampsReportsAndStores) {
  const std::vector<ZRDictionary> finishReport{{{"stype", 202U}, {"version", 21}}};
  const double before = 100;
  for (const auto& [from, to, stamp] :
       {std::tuple(Paused, Waiting, 500.0), std::tuple(Paused, Executing, 500.0), std::tuple(Executing, Paused, 0.0),
        std::tuple(Waiting, Paused, 0.0), std::tuple(Executing, Finished, before),
        std::tuple(Executing, Errored, before), std::tuple(Executing, static_cast<ZRTaskState>(5), before)}) {
    SCOPED_TRACE(static_cast<int>(from) * 10 + static_cast<int>(to));
    const auto task = std::make_shared<ProbeTask>("t");
    task->setTaskState(from);
    task->setActiveTimestamp(before);
    reports_.clear();
    task->syncs = 0;
    task->setTaskState(to);
    EXPECT_EQ(std::tuple(task->taskState(), task->activeTimestamp()), std::tuple(to, stamp));
    EXPECT_EQ(std::tuple(task->syncs, manual_->pendingDelayed()), std::tuple(1, to == Executing ? 1U : 0U));
    EXPECT_EQ(reports_, to == Finished ? finishReport : std::vector<ZRDictionary>());
  }
}

TEST_F(ZRDownloadTaskTest, settingTheStateItHasDoesNothing) {
  task_->setTaskState(Executing);
  now_ = 600;
  manual_->advance(milliseconds(600));
  task_->setTaskState(Executing);
  EXPECT_EQ(std::tuple(task_->activeTimestamp(), task_->syncs, task_->stateSets), std::tuple(500, 1, 2));
  task_->setTransferedPerSecond(1024);
  manual_->advance(milliseconds(500));  // the timer still fires a second after the first switch
  EXPECT_EQ(task_->transferedPerSecond(), 0);
}

TEST_F(ZRDownloadTaskTest, speedIsTheMeanOfTheLastThreeSeconds) {
  std::thread([this] { task_->resetSpeedTimer(); }).join();
  EXPECT_EQ(manual_->pendingDelayed(), 0U);
  manual_->drain();  // the timer is set on the main loop, whoever asks for it
  EXPECT_EQ(manual_->pendingDelayed(), 1U);
  task_->setTaskState(Executing);
  EXPECT_EQ(task_->currentDownloadSpeed(), 0);
  receive({1024, 2048, 3072});
  EXPECT_EQ(task_->currentDownloadSpeed(), 2.0);
  receive({4096, 5120});
  EXPECT_EQ(task_->currentDownloadSpeed(), 4.0);
  task_->setTaskState(Waiting);
  EXPECT_EQ(std::tuple(task_->currentDownloadSpeed(), manual_->pendingDelayed()), std::tuple(0, 0U));
  task_->setTaskState(Executing);
  const auto proxy = ZRWeakProxy<ProbeTask>::weakProxyWithTarget(task_);
  EXPECT_EQ(std::tuple(proxy.forward(&ProbeTask::taskId), proxy.description()), std::tuple("t", "t"));
  task_.reset();
  proxy.forward(&ProbeTask::preloadVideoInfoIfNeed);
  EXPECT_EQ(std::tuple(proxy.forward(&ProbeTask::taskId), proxy.description()), std::tuple("", std::nullopt));
  manual_->advance(milliseconds(5000));  // harmless after the task
  EXPECT_EQ(manual_->pendingDelayed(), 0U);
}

TEST_F(ZRDownloadTaskTest, oneGibibyteIsNotEnough) {
  setFreeBytes(std::uint64_t{1} << 30);
  EXPECT_FALSE(task_->hasEnoughDiskSpace());
  EXPECT_TRUE(logged(0, "Disk Capacity of 536 GB with 1 GB Free memory available."));
  setFreeBytes((std::uint64_t{1} << 30) + 1);
  EXPECT_TRUE(task_->hasEnoughDiskSpace());
  ZRVolume::setProbe([](const std::string&) { return ZRError("POSIX", 5, "io"); });
  EXPECT_FALSE(task_->hasEnoughDiskSpace());
  EXPECT_TRUE(logged(2, "Error Obtaining System Disk Info: Domain = POSIX, Code = 5"));
}

TEST_F(ZRDownloadTaskTest, taskOfNoRunnerIsInertAndRefused) {
  class Bare final : public ZRDownloadTask {};
  const auto bare = std::make_shared<Bare>();
  EXPECT_EQ(manager()->addTask(bare), ZRAddTaskResult::Refused);
  bare->forceError({ZRErrorCode::DiskFull, ""});
  EXPECT_TRUE(bare->isPaused() && !bare->err());
}

}  // namespace
