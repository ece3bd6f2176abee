// The smallest host: one MP4, downloaded to the end or to an error.

#include <chrono>
#include <cstdio>
#include <memory>

#include "ZRDownloadKit.h"

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: minimal URL\n", stderr), 2;
  const auto loop = std::make_shared<ZRDefaultRunLoop>();
  ZRRunLoop::setMain(loop);
  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup({{"fetch_73Info_Handler", ZRFetch73InfoHandler([url = argv[1]](const auto&, const auto& reply) {
                     reply(ZRDictionary{{"title", "A film"}, {"url", url}}, std::nullopt);
                   })}});
  const auto task = ZRDownloadTask::taskWith73Params({{"vid", 42}, {"version", 2}});
  const ZRAddTaskResult added = manager->addTask(task);
  if (added == ZRAddTaskResult::Exists) manager->starTasks(manager->allUnFinishTaskArr());  // of an earlier run
  const auto isOver = [&] {
    const ZRTaskList open = manager->allUnFinishTaskArr();
    return open.empty() || open[0]->isErrored() || open[0]->lastFailure();
  };
  loop->runUntil(isOver, ZRDefaultRunLoop::Clock::now() + std::chrono::hours(1));
  int status = 1;
  for (const auto& film : manager->allFinishedTaskArr()) status = std::puts(film->localFullFilePath()->c_str()) < 0;
  for (const auto& film : manager->allUnFinishTaskArr()) {
    std::fprintf(stderr, "%s\n", film->lastFailure() ? film->lastFailure()->description().c_str() : "no answer");
  }
  if (added == ZRAddTaskResult::Refused) std::fputs("it cannot be stored\n", stderr);
  ZRDownloadManager::shutdown();
  return status;
}
