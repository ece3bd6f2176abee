#include "TaskView.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace site {
namespace {

namespace fs = std::filesystem;

constexpr float kAlmostDone = 0.99F;

/// 0 when it cannot be read.
std::uint64_t fileSize(const fs::path& file) {
  std::error_code unreadable;
  const std::uintmax_t size = fs::file_size(file, unreadable);
  return unreadable ? 0 : size;
}

/// The segments beside a local playlist.
std::uint64_t segmentsSize(const fs::path& folder) {
  std::uint64_t size = 0;
  std::error_code unreadable;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, unreadable)) {
    if (entry.path().native().ends_with(".ts")) size += fileSize(entry.path());
  }
  return size;
}

/// Bytes of a finished task's video, which are the truth where the announced size is not.
std::uint64_t sizeOnDisk(const fs::path& path) {
  return path.extension() == ".m3u8" ? segmentsSize(path.parent_path()) : fileSize(path);
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
  view.bytes = task.receivedBytes();
  view.size = task.expectedBytes();
  if (view.bytes > view.size) {  // more came than was told: the whole is not known any more
    view.progress = std::min(view.progress, kAlmostDone);
    view.size = 0;
  }
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

}  // namespace site
