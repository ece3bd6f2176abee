// A host outside of the project: it sees nothing but what is installed. Its site knows no video, so its task fails.

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>

#include <ZRDownloadKit/ZRDownloadKit.h>

#include "ZRDownloadManager.h"  // the headers are found by their names alone, too

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path home = argv[1];
  ZRHostInfo info = ZRHostInfo::defaults();
  info.applicationSupportFolder = home / "support";
  info.moviesFolder = home / "movies";
  info.bundleIdentifier = "host";
  ZRHost::setCurrent(info);
  const auto loop = std::make_shared<ZRDefaultRunLoop>();
  ZRRunLoop::setMain(loop);

  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup({{"fetch_73Info_Handler", ZRFetch73InfoHandler([](const auto&, const auto& reply) {
                     reply(std::nullopt, ZRError(ZRErrorCode::ResourceUnusable, "no such video"));
                   })}});
  const auto task = ZRDownloadTask::taskWith73Params({{"vid", 42}, {"version", 2}});
  if (manager->addTask(task) != ZRAddTaskResult::Added) return 1;
  loop->runUntil([&] { return task->isErrored(); }, ZRDefaultRunLoop::Clock::now() + std::chrono::minutes(1));
  const ZRError error = task->err().value_or(ZRError("", 0, "no error"));
  std::cout << ZRDownloadKitVersionString << ' ' << task->taskId() << ' ' << error.code() << '\n';
  ZRDownloadManager::shutdown();
}
