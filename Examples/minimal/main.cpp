// The smallest host: one MP4, downloaded to the end or to an error.

#include <chrono>
#include <cstdio>
#include <memory>

#include "ZRDownloadKit.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto loop = std::make_shared<ZRDefaultRunLoop>();
  ZRRunLoop::setMain(loop);
  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup({{"fetch_73Info_Handler", ZRFetch73InfoHandler([url = argv[1]](const auto&, const auto& reply) {
                     reply(ZRDictionary{{"title", "A film"}, {"url", url}}, std::nullopt);
                   })}});
  const auto task = ZRDownloadTask::taskWith73Params({{"vid", 42}, {"version", 2}});
  if (manager->addTask(task) == ZRAddTaskResult::Added) {
    loop->runUntil([&] { return !task->isExecuting(); }, ZRDefaultRunLoop::Clock::now() + std::chrono::hours(1));
  }
  std::puts(task->isFinished() ? task->localFullFilePath()->c_str() : "not downloaded");
  ZRDownloadManager::shutdown();
}
