#include "Snippets.h"

// [add]
std::shared_ptr<ZRDownloadTask> makeEpisode() {
  return ZRDownloadTask::taskWithParams(
      {{"aid", 3}, {"vid", 7}, {"site", 1}, {"version", 21}, {"albumPic", "http://…"}});
}

std::shared_ptr<ZRDownloadTask> makeFilm() {
  return ZRDownloadTask::taskWith73Params({{"vid", 42}, {"version", 2}});
}

std::shared_ptr<ZRDownloadTask> makeShared(const std::string& device) {
  return ZRDownloadTask::taskWithShareParams({{"vid", "v1"},
                                              {"albumId", "a1"},
                                              {"videoName", "film.mp4"},
                                              {"albumName", "假期"},
                                              {"host", device},  // "http://192.168.1.7:8080/"
                                              {"lanOnly", true}});
}

std::string add(const std::shared_ptr<ZRDownloadTask>& task) {
  switch (ZRDownloadManager::sharedManager()->addTask(task)) {
    case ZRAddTaskResult::Added:
      return "已加入下载";
    case ZRAddTaskResult::Exists:
      return "已在下载列表中";
    case ZRAddTaskResult::Refused:
      break;
  }
  return "无法下载";  // also what a factory refused
}
// [add]

// [remove]
void removeForGood(const std::shared_ptr<ZRDownloadTask>& task) {
  const auto manager = ZRDownloadManager::sharedManager();
  manager->pauseTask(task);  // gives back the slot that a lost connection keeps
  manager->removeTask(task);
}
// [remove]
