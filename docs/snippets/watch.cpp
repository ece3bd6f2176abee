#include <cmath>

#include "Snippets.h"

// [watch]
namespace {

std::string lineOf(const ZRDownloadTask& task) {
  const std::string title = task.videoInfoDic().value_or(ZRDictionary())["title"].textValue().value_or("…");
  switch (task.taskState()) {
    case ZRTaskState::Paused:
      return title + " 已暂停";
    case ZRTaskState::Waiting:
      return title + " 等待中";
    case ZRTaskState::Executing:
      return title + " " + std::to_string(std::lround(task.currentDownloadProgress() * 100)) + "% " +
             std::to_string(std::lround(task.currentDownloadSpeed())) + " KiB/s";
    case ZRTaskState::Errored:
      return title + " " + task.err()->localizedDescription();
    case ZRTaskState::Finished:
      return title + " 已完成";
  }
  return title;
}

}  // namespace

DownloadList::DownloadList(Show show)
    : show_(std::move(show)),
      finished_(ZRNotificationCenter::defaultCenter().addObserver(
          kZRDownloadTaskFinishedNotifi, [this](const ZRNotification& notification) {
            const auto task = notification.objectAs<ZRDownloadTask>();
            show_(task->taskId(), lineOf(*task));
          })) {
  look();
}

DownloadList::~DownloadList() {
  ZRRunLoop::main()->cancel(next_);
}

void DownloadList::look() {
  for (const auto& task : ZRDownloadManager::sharedManager()->allUnFinishTaskArr()) {
    show_(task->taskId(), lineOf(*task));
  }
  next_ = ZRRunLoop::main()->postDelayed(std::chrono::seconds(1), [this] { look(); });
}
// [watch]
