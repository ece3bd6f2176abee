#include "Commands.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "BatchFile.h"
#include "CommandDecryptor.h"
#include "DemoCommand.h"
#include "ExitStatus.h"
#include "JsonReporter.h"
#include "LineReporter.h"
#include "SignalWatch.h"
#include "StoredTasks.h"
#include "TerminalReporter.h"
#include "UsageError.h"

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

/// Without them a task would wait for nothing.
void requireSources(const Options& options, const std::vector<LabelledRequest>& requests) {
  for (const LabelledRequest& request : requests) {
    if (request.kind == "hls" && options.site.infoBase.empty())
      throw site::UsageError("an HLS video needs --info-base");
    if (request.kind == "mp4" && options.site.mp4Info.empty()) throw site::UsageError("an MP4 video needs --mp4-info");
  }
}

site::Answers answersOf(const Options& options) {
  site::Answers answers = site::Answers::of(options.site);
  if (!options.decrypt.empty()) answers.decryptor = std::make_unique<CommandDecryptor>(options.decrypt);
  return answers;
}

/// How a task that has no id is named to the user.
std::string labelOf(const ZRDictionary& params) {
  const std::optional<std::string> version = params["version"].textValue();
  return params["vid"].textValue().value_or("") + (version ? "-" + *version : "");
}

int runAdd(const Options& options, Reporter& reporter) {
  requireSources(options, {options.task});
  LabelledRequest request = options.task;
  request.label = labelOf(request.params);
  return runTasks(options, answersOf(options), reporter, [&](Host&, Session& session) { session.add(request); });
}

int runBatch(const Options& options, Reporter& reporter) {
  const std::vector<LabelledRequest> requests = readBatchFile(options.batchFile);
  requireSources(options, requests);
  return runTasks(options, answersOf(options), reporter, [&](Host&, Session& session) {
    for (std::size_t at = 0; at < requests.size(); ++at) {
      if (session.isInterrupted()) {
        return reporter.note("interrupted: nothing was added from " + requests[at].label + " on");
      }
      session.add(requests[at]);
    }
  });
}

/// The library asks for an MP4's metadata in each life of the process.
void noteMissingSource(const Options& options, const ZRTaskList& tasks, Reporter& reporter) {
  const auto isMp4 = [](const TaskPtr& task) { return task->taskId().starts_with("73-"); };
  if (!options.site.mp4Info.empty() || std::none_of(tasks.begin(), tasks.end(), isMp4)) return;
  reporter.note("an MP4 video needs --mp4-info");
}

int runResume(const Options& options, Reporter& reporter) {
  bool allKnown = true;
  const int status = runTasks(options, answersOf(options), reporter, [&](Host& host, Session& session) {
    if (!host.hasStore()) return;
    ZRTaskList tasks = host.manager().allUnFinishTaskArr();
    if (!options.taskIds.empty()) tasks = tasksWithIds(host.manager(), options.taskIds, reporter, allKnown);
    std::erase_if(tasks, [&](const TaskPtr& task) {
      if (task->isFinished()) reporter.note(task->taskId() + " is finished already");
      return task->isFinished();
    });
    noteMissingSource(options, tasks, reporter);
    session.start(tasks);
  });
  return status == kExitAllFinished && !allKnown ? kExitSomeNot : status;
}

}  // namespace

int runTasks(const Options& options, site::Answers answers, Reporter& reporter,
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
