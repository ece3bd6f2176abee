#include "DemoCommand.h"

#include <cstdint>
#include <optional>
#include <string>

#include "Commands.h"
#include "DemoContent.h"
#include "DemoOrigin.h"
#include "SignalWatch.h"

namespace zrdl {
namespace {

constexpr std::int64_t kVid = 1;
constexpr std::int32_t kVersion = 1;

Options withDemoFolders(Options options) {
  options.support = options.demoFolder + "/support";
  options.movies = options.demoFolder + "/movies";
  return options;
}

Mp4Metadata metadataOf(const DemoOrigin& origin) {
  Mp4Metadata metadata;
  metadata.set(kVid, kVersion,
               {{"title", "ZRDownloadKit demo 演示"},
                {"url", origin.videoAddress()},
                {"duration", 60},
                {"fileSize", DemoContent::kSize}});
  return metadata;
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
  SignalWatch::block();  // for the origin's threads too
  const DemoOrigin origin;
  std::optional<std::string> path;
  const int status =
      runTasks(withDemoFolders(options), metadataOf(origin), reporter, [&](Host& host, Session& session) {
        removeTasks(host.manager(), host.manager().allFinishedTaskArr(), reporter);
        removeTasks(host.manager(), host.manager().allUnFinishTaskArr(), reporter);
        const std::shared_ptr<ZRDownloadTask> task =
            session.add({"mp4", {{"vid", kVid}, {"version", kVersion}}, "the demo's video"});
        if (task) path = task->localFullFilePath();
      });
  if (status != kExitAllFinished || (path && DemoContent::isIn(*path))) return status;
  reporter.note("the file differs from what the origin sent");
  return kExitSomeNot;
}

}  // namespace zrdl
