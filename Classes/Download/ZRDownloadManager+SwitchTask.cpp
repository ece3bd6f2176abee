#include <algorithm>

#include "ZRDownloadManager.h"
#include "ZRThreadCheck.h"

void ZRDownloadManager::starTasks(const ZRTaskList& tasks) {
  zrAssertLoopThread();
  for (const auto& task : tasks) {
    if (task && !task->isFinished() && !task->isExecuting()) task->switch2Wait();
  }
  checkIfHasTaskCanEnQueue();
}

void ZRDownloadManager::pauseAllTasks() {
  zrAssertLoopThread();
  for (const auto& task : allUnFinishTaskArr()) task->switch2Pause();
  executingQueue_.clear();
}

void ZRDownloadManager::pauseTask(const std::shared_ptr<ZRDownloadTask>& task) {
  zrAssertLoopThread();
  if (!task || task->isFinished()) return;
  const std::shared_ptr<ZRDownloadTask> kept = task;
  kept->switch2Pause();
  std::erase(executingQueue_, kept);
  checkIfHasTaskCanEnQueue();
}

void ZRDownloadManager::resumeTask(const std::shared_ptr<ZRDownloadTask>& task) {
  zrAssertLoopThread();
  if (!task || task->isFinished()) return;
  const std::shared_ptr<ZRDownloadTask> kept = task;
  log(0, nullptr, "%@", kept);
  if (std::find(executingQueue_.begin(), executingQueue_.end(), kept) != executingQueue_.end()) {
    log(0, nullptr, "already in queue，reume it !");
    kept->resume();
  } else if (canExecuteMoreTask()) {
    executingQueue_.push_back(kept);
    log(0, nullptr, "enqueue before resume");
    kept->resume();
  } else if (kept->isWaiting() && !executingQueue_.empty()) {
    const std::shared_ptr<ZRDownloadTask> displaced = executingQueue_.front();
    displaced->switch2Wait();
    std::erase(executingQueue_, displaced);
    executingQueue_.push_back(kept);
    log(0, nullptr, "wait %@ then resume:%@", displaced, kept);
    kept->resume();
  } else {
    log(0, nullptr, "wait:%@", kept);
    kept->switch2Wait();
  }
}

bool ZRDownloadManager::canExecuteMoreTask() const {
  return executingQueue_.size() < maxConcurrentOperationCount_;
}

bool ZRDownloadManager::needReduceTask() const {
  return executingQueue_.size() > maxConcurrentOperationCount_;
}

std::shared_ptr<ZRDownloadTask> ZRDownloadManager::startNextTask() {
  log(0, nullptr, "startNextTask?");
  if (!canExecuteMoreTask()) {
    log(0, nullptr, "没有并发的空间了！");
    return nullptr;
  }
  std::shared_ptr<ZRDownloadTask> next;  // the one that waits longest; of equals the first in the list
  for (const auto& task : unFinishedTaskArr_) {
    if (task->isWaiting() && (!next || task->activeTimestamp() < next->activeTimestamp())) next = task;
  }
  if (next) resumeTask(next);
  return next;
}

// A task that fails inside its start asks for the next one from in here. The loop below, already on the stack, gives it
// its turn, so that a long row of failing tasks costs no stack.
void ZRDownloadManager::checkIfHasTaskCanEnQueue() {
  if (fillingSlots_) return;
  fillingSlots_ = true;
  while (startNextTask()) {
  }
  fillingSlots_ = false;
}

void ZRDownloadManager::checkIfHasExecutingTaskCanReduce() {
  while (needReduceTask()) {
    const std::shared_ptr<ZRDownloadTask> newest = executingQueue_.back();
    newest->switch2Wait();
    std::erase(executingQueue_, newest);
    log(1, nullptr, "冻结任务：%@", newest);
  }
}

void ZRDownloadManager::forceNotifiAllTaskOccurError(const ZRError& error) {
  for (const auto& task : allUnFinishTaskArr()) task->forceError(error);
}
