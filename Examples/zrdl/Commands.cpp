#include "Commands.h"

#include <algorithm>
#include <atomic>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "BatchFile.h"
#include "DemoCommand.h"
#include "JsonReporter.h"
#include "LineReporter.h"
#include "SignalWatch.h"
#include "TerminalReporter.h"
#include "VideoCopy.h"

namespace zrdl {
namespace {

using TaskPtr = std::shared_ptr<ZRDownloadTask>;

std::unique_ptr<Reporter> makeReporter(const Options& options) {
  if (options.json) return std::make_unique<JsonReporter>(std::cout, std::cerr);
  if (::isatty(STDOUT_FILENO) != 0) {
    return std::make_unique<TerminalReporter>(std::cout, TerminalSize::ofStandardOutput);
  }
  return std::make_unique<LineReporter>(std::cout, std::cerr);
}

ZRTaskList storedTasks(const ZRDownloadManager& manager) {
  ZRTaskList tasks = manager.allFinishedTaskArr();
  const ZRTaskList unfinished = manager.allUnFinishTaskArr();
  tasks.insert(tasks.end(), unfinished.begin(), unfinished.end());
  return tasks;
}

/// The stored tasks of these ids, each once, in this order; an id that no task has is noted.
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

/// Without them a task would wait for nothing.
void requireSources(const Options& options, const std::vector<TaskRequest>& requests) {
  for (const TaskRequest& request : requests) {
    if (request.kind == "hls" && options.infoBase.empty()) throw UsageError("an HLS video needs --info-base");
    if (request.kind == "mp4" && options.mp4Info.empty()) throw UsageError("an MP4 video needs --mp4-info");
  }
}

/// How a task that has no id is named to the user.
std::string labelOf(const ZRDictionary& params) {
  const std::optional<std::string> version = params["version"].textValue();
  return params["vid"].textValue().value_or("") + (version ? "-" + *version : "");
}

int runAdd(const Options& options, Reporter& reporter) {
  requireSources(options, {options.task});
  TaskRequest request = options.task;
  request.label = labelOf(request.params);
  return runTasks(options, SiteAnswers::of(options), reporter, [&](Host&, Session& session) { session.add(request); });
}

int runBatch(const Options& options, Reporter& reporter) {
  const std::vector<TaskRequest> requests = readBatchFile(options.batchFile);
  requireSources(options, requests);
  return runTasks(options, SiteAnswers::of(options), reporter, [&](Host&, Session& session) {
    for (std::size_t at = 0; at < requests.size(); ++at) {
      if (session.isInterrupted()) {
        return reporter.note("interrupted: nothing was added from " + requests[at].label + " on");
      }
      session.add(requests[at]);
    }
  });
}

int runResume(const Options& options, Reporter& reporter) {
  bool allKnown = true;
  const int status = runTasks(options, SiteAnswers::of(options), reporter, [&](Host& host, Session& session) {
    if (!host.hasStore()) return;
    if (options.taskIds.empty()) return session.start(host.manager().allUnFinishTaskArr());
    ZRTaskList tasks = tasksWithIds(host.manager(), options.taskIds, reporter, allKnown);
    std::erase_if(tasks, [&](const TaskPtr& task) {
      if (task->isFinished()) reporter.note(task->taskId() + " is finished already");
      return task->isFinished();
    });
    session.start(tasks);
  });
  return status == kExitAllFinished && !allKnown ? kExitSomeNot : status;
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

}  // namespace

int runTasks(const Options& options, SiteAnswers answers, Reporter& reporter,
             const std::function<void(Host&, Session&)>& begin) {
  Host host(options, std::move(answers), reporter);
  Session session(host, reporter, options.giveUp);
  const SignalWatch signals([&session] { session.interrupt(); });
  begin(host, session);
  const int status = session.run();
  return status == kExitAllFinished && !host.hasStore() ? kExitSomeNot : status;
}

int runCommand(const Options& options) {
  const std::unique_ptr<Reporter> reporter = makeReporter(options);
  switch (options.command) {
    case Command::Add:
      return runAdd(options, *reporter);
    case Command::Batch:
      return runBatch(options, *reporter);
    case Command::Resume:
      return runResume(options, *reporter);
    case Command::List:
      return runList(options, *reporter);
    case Command::Rm:
      return runRm(options, *reporter);
    case Command::Path:
      return runPath(options, *reporter);
    case Command::Export:
      return runExport(options, *reporter);
    case Command::Demo:
      return runDemo(options, *reporter);
  }
  return kExitUsage;
}

}  // namespace zrdl
