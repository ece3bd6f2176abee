#include <algorithm>
#include <utility>

#include "ZRAnnouncements.h"
#include "ZRDownloadManager.h"
#include "ZRThreadCheck.h"

void ZRDownloadManager::starTasks(ZRTaskList tasks) {
  zrAssertLoopThread();
  const ZRAnnouncements::Hold hold(*announcements_);
  for (const auto& task : tasks) {
    if (task && !task->isFinished() && !task->isExecuting()) task->switch2Wait();
  }
  checkIfHasTaskCanEnQueue();
}

void ZRDownloadManager::pauseAllTasks() {
  zrAssertLoopThread();
  const ZRAnnouncements::Hold hold(*announcements_);
  for (const auto& task : allUnFinishTaskArr()) task->switch2Pause();
  executingQueue_.clear();
}

void ZRDownloadManager::pauseTask(std::shared_ptr<ZRDownloadTask> task) {
  zrAssertLoopThread();
  if (!task || task->isFinished()) return;
  const ZRAnnouncements::Hold hold(*announcements_);
  task->switch2Pause();
  std::erase(executingQueue_, task);
  checkIfHasTaskCanEnQueue();
}

void ZRDownloadManager::resumeTask(std::shared_ptr<ZRDownloadTask> task) {
  zrAssertLoopThread();
  if (!task || task->isFinished()) return;
  const ZRAnnouncements::Hold hold(*announcements_);
  log(ZRLogLevel::Trace, nullptr, "%@", task);
  if (std::find(executingQueue_.begin(), executingQueue_.end(), task) != executingQueue_.end()) {
    log(ZRLogLevel::Trace, nullptr, "already in queue，reume it !");
    task->resume();
  } else if (canExecuteMoreTask()) {
    executingQueue_.push_back(task);
    log(ZRLogLevel::Trace, nullptr, "enqueue before resume");
    task->resume();
  } else if (task->isWaiting() && !executingQueue_.empty()) {
    const std::shared_ptr<ZRDownloadTask> displaced = executingQueue_.front();
    displaced->switch2Wait();
    std::erase(executingQueue_, displaced);
    executingQueue_.push_back(task);
    log(ZRLogLevel::Trace, nullptr, "wait %@ then resume:%@", displaced, task);
    task->resume();
  } else {
    log(ZRLogLevel::Trace, nullptr, "wait:%@", task);
    task->switch2Wait();
  }
}

bool ZRDownloadManager::canExecuteMoreTask() const {
  return executingQueue_.size() < maxConcurrentOperationCount_;
}

bool ZRDownloadManager::needReduceTask() const {
  return executingQueue_.size() > maxConcurrentOperationCount_;
}

// The one that waits longest, of equals the first in the list; null without a slot for it.
std::shared_ptr<ZRDownloadTask> ZRDownloadManager::nextTask() {
  log(ZRLogLevel::Trace, nullptr, "startNextTask?");
  if (!canExecuteMoreTask()) {
    log(ZRLogLevel::Trace, nullptr, "没有并发的空间了！");
    return nullptr;
  }
  std::shared_ptr<ZRDownloadTask> next;
  for (const auto& task : unFinishedTaskArr_) {
    if (task->isWaiting() && (!next || task->activeTimestamp() < next->activeTimestamp())) next = task;
  }
  return next;
}

// The slot of a task that fails inside its start is filled by this loop, which goes on when the start returns, and not
// by a call of its own: a long row of failing tasks costs no stack.
void ZRDownloadManager::checkIfHasTaskCanEnQueue() {
  while (const std::shared_ptr<ZRDownloadTask> next = nextTask()) {
    const ZRDownloadTask* const outer = std::exchange(starting_, next.get());
    resumeTask(next);
    starting_ = outer;
  }
}

void ZRDownloadManager::checkIfHasExecutingTaskCanReduce() {
  while (needReduceTask()) {
    const std::shared_ptr<ZRDownloadTask> newest = executingQueue_.back();
    newest->switch2Wait();
    std::erase(executingQueue_, newest);
    log(ZRLogLevel::Event, nullptr, "冻结任务：%@", newest);
  }
}

void ZRDownloadManager::forceNotifiAllTaskOccurError(const ZRError& error) {
  for (const auto& task : allUnFinishTaskArr()) task->forceError(error);
}
