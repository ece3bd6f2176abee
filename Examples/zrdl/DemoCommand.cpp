#include "DemoCommand.h"

#include <functional>
#include <string>
#include <vector>

#include "Commands.h"
#include "DemoClip.h"
#include "DemoContent.h"
#include "DemoOrigin.h"
#include "DemoSite.h"

namespace zrdl {
namespace {

/// A task of the demo, and whether what is at its path is what the origin sent.
struct Part {
  TaskRequest request;
  std::function<bool(const std::string& path)> isWhole;
};

Options demoOptions(Options options, const DemoOrigin& origin) {
  options.support = options.demoFolder + "/support";
  options.movies = options.demoFolder + "/movies";
  options.infoBase = origin.infoBase();
  return options;
}

std::vector<Part> partsOf(const DemoOrigin& origin) {
  const auto isVideo = [](const std::string& path) { return kDemoVideo.isIn(path); };
  const auto isShare = [](const std::string& path) { return kDemoShare.isIn(path); };
  return {{demoHls(), DemoClip::isIn}, {demoMp4(), isVideo}, {demoShare(origin), isShare}};
}

void removeTasks(ZRDownloadManager& manager, const ZRTaskList& tasks, Reporter& reporter) {
  for (const std::shared_ptr<ZRDownloadTask>& task : tasks) {
    const TaskView view = TaskView::of(*task);
    manager.removeTask(task);
    reporter.removed(view);
  }
}

}  // namespace

int runDemo(const Options& options, Reporter& reporter) {
  const DemoOrigin origin;
  std::vector<std::function<bool()>> checks;
  int status = runTasks(demoOptions(options, origin), demoAnswers(origin), reporter, [&](Host& host, Session& session) {
    removeTasks(host.manager(), host.manager().allFinishedTaskArr(), reporter);
    removeTasks(host.manager(), host.manager().allUnFinishTaskArr(), reporter);
    for (const Part& part : partsOf(origin)) {
      const std::shared_ptr<ZRDownloadTask> task = session.add(part.request);
      if (!task) continue;
      checks.emplace_back(
          [isWhole = part.isWhole, path = task->localFullFilePath().value_or("")] { return isWhole(path); });
    }
  });
  if (status != kExitAllFinished) return status;
  for (const std::function<bool()>& isWhole : checks) {
    if (isWhole()) continue;
    reporter.note("a file differs from what the origin sent");
    status = kExitSomeNot;
  }
  return status;
}

}  // namespace zrdl
