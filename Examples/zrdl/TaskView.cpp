#include "TaskView.h"

#include <cmath>
#include <filesystem>
#include <system_error>

namespace zrdl {
namespace {

/// Bytes of a finished task's file, which is the truth where the announced size is not; 0 when it cannot be read.
std::uint64_t sizeOnDisk(const std::string& path) {
  std::error_code unreadable;
  const std::uintmax_t size = std::filesystem::file_size(path, unreadable);
  return unreadable ? 0 : size;
}

}  // namespace

TaskView TaskView::of(const ZRDownloadTask& task) {
  TaskView view;
  view.id = task.taskId();
  view.state = task.taskState();
  view.progress = task.currentDownloadProgress();
  view.speed = task.currentDownloadSpeed();
  view.relative = task.localRelativeFilePath();
  view.path = task.localFullFilePath();
  const ZRDictionary info = task.videoInfoDic().value_or(ZRDictionary());
  view.title = info["title"].textValue().value_or("");
  if (view.title.empty()) view.title = view.id;
  view.size = info["fileSize"].uint64Value();
  view.bytes =
      static_cast<std::uint64_t>(std::llround(static_cast<double>(view.progress) * static_cast<double>(view.size)));
  if (task.isFinished() && view.path) {
    view.progress = 1;
    view.bytes = view.size = sizeOnDisk(*view.path);
  }
  return view;
}

const char* stateName(ZRTaskState state) {
  switch (state) {
    case ZRTaskState::Paused:
      return "paused";
    case ZRTaskState::Waiting:
      return "waiting";
    case ZRTaskState::Executing:
      return "executing";
    case ZRTaskState::Errored:
      return "errored";
    case ZRTaskState::Finished:
      return "finished";
  }
  return "unknown";
}

}  // namespace zrdl
