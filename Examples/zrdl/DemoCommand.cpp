#include "DemoCommand.h"

#include <functional>
#include <string>
#include <vector>

#include "Commands.h"
#include "DemoClip.h"
#include "DemoContent.h"
#include "DemoOrigin.h"
#include "DemoSite.h"
#include "ExitStatus.h"

namespace zrdl {
namespace {

/// A task of the demo, and whether what is at its path is what the origin sent.
struct Part {
  LabelledRequest request;
  std::function<bool(const std::string& path)> isWhole;
};

Options demoOptions(Options options, const site::DemoOrigin& origin) {
  options.support = options.demoFolder + "/support";
  options.movies = options.demoFolder + "/movies";
  options.site.infoBase = origin.infoBase();
  return options;
}

std::vector<Part> partsOf(const site::DemoOrigin& origin) {
  const auto isVideo = [](const std::string& path) { return site::kDemoVideo.isIn(path); };
  const auto isShare = [](const std::string& path) { return site::kDemoShare.isIn(path); };
  return {{{site::demoHls(), "the demo's HLS video"}, site::DemoClip::isIn},
          {{site::demoMp4(), "the demo's MP4"}, isVideo},
          {{site::demoShare(origin), "the demo's share"}, isShare}};
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
  const site::DemoOrigin origin;
  std::vector<std::function<bool()>> checks;
  int status =
      runTasks(demoOptions(options, origin), site::demoAnswers(origin), reporter, [&](Host& host, Session& session) {
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
