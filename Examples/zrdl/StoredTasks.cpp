#include "StoredTasks.h"

#include <algorithm>
#include <atomic>
#include <iostream>
#include <memory>

#include "ExitStatus.h"
#include "Host.h"
#include "SignalWatch.h"
#include "VideoCopy.h"

namespace zrdl {
namespace {

using TaskPtr = std::shared_ptr<ZRDownloadTask>;

ZRTaskList storedTasks(const ZRDownloadManager& manager) {
  ZRTaskList tasks = manager.allFinishedTaskArr();
  const ZRTaskList unfinished = manager.allUnFinishTaskArr();
  tasks.insert(tasks.end(), unfinished.begin(), unfinished.end());
  return tasks;
}

/// The one task that the command is for; null when none of that id is finished, which is noted.
TaskPtr finishedTask(const Options& options, const Host& host, Reporter& reporter) {
  if (!host.hasStore()) return nullptr;
  const std::string& id = options.taskIds.front();
  for (const TaskPtr& task : host.manager().allFinishedTaskArr()) {
    if (task->taskId() == id) return task;
  }
  reporter.note("there is no finished task " + id);
  return nullptr;
}

}  // namespace

ZRTaskList tasksWithIds(const ZRDownloadManager& manager, const std::vector<std::string>& ids, Reporter& reporter,
                        bool& allKnown) {
  const ZRTaskList stored = storedTasks(manager);
  ZRTaskList tasks;
  allKnown = true;
  for (const std::string& id : ids) {
    const auto found = std::find_if(stored.begin(), stored.end(), [&](const TaskPtr& t) { return t->taskId() == id; });
    if (found == stored.end()) {
      reporter.note("there is no task " + id);
      allKnown = false;
    } else if (std::find(tasks.begin(), tasks.end(), *found) == tasks.end()) {
      tasks.push_back(*found);
    }
  }
  return tasks;
}

int runList(const Options& options, Reporter& reporter) {
  Host host(options, {}, reporter);
  for (const TaskPtr& task : storedTasks(host.manager())) reporter.listed(TaskView::of(*task));
  return host.hasStore() ? kExitAllFinished : kExitSomeNot;
}

int runRm(const Options& options, Reporter& reporter) {
  Host host(options, {}, reporter);
  if (!host.hasStore()) return kExitSomeNot;
  bool allRemoved = true;
  std::atomic<bool> interrupted = false;
  const SignalWatch signals([&interrupted] { interrupted = true; });
  for (const TaskPtr& task : tasksWithIds(host.manager(), options.taskIds, reporter, allRemoved)) {
    if (interrupted) {
      reporter.note("interrupted: nothing was removed from " + task->taskId() + " on");
      return kExitInterrupted;
    }
    const TaskView view = TaskView::of(*task);
    host.failureOf([&] { host.manager().removeTask(task); });
    if (task->existInDB()) {
      reporter.note("the database cannot be written: " + task->taskId() + " stays");
      allRemoved = false;
    } else {
      reporter.removed(view);
    }
  }
  return allRemoved ? kExitAllFinished : kExitSomeNot;
}

int runPath(const Options& options, Reporter& reporter) {
  const Host host(options, {}, reporter);
  const TaskPtr task = finishedTask(options, host, reporter);
  if (!task) return kExitSomeNot;
  if (options.json) {
    reporter.listed(TaskView::of(*task));
  } else {
    std::cout << task->localFullFilePath().value_or("") << '\n';
  }
  return kExitAllFinished;
}

int runExport(const Options& options, Reporter& reporter) {
  const Host host(options, {}, reporter);
  const TaskPtr task = finishedTask(options, host, reporter);
  if (!task) return kExitSomeNot;
  std::atomic<bool> interrupted = false;
  const SignalWatch signals([&interrupted] { interrupted = true; });
  const std::string failure = copyVideo(task->localFullFilePath().value_or(""), options.exportFile, interrupted);
  if (!failure.empty()) reporter.note(failure);
  if (interrupted && !failure.empty()) return kExitInterrupted;
  return failure.empty() ? kExitAllFinished : kExitSomeNot;
}

}  // namespace zrdl
