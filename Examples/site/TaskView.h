#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ZRDownloadKit.h"

namespace site {

/// What is shown of a task, taken at one moment.
struct TaskView {
  std::string id;
  std::string title;  ///< the id when the task has none
  ZRTaskState state = ZRTaskState::Paused;
  float progress = 0;                   ///< fraction; 0 while the size is unknown
  double speed = 0;                     ///< KiB per second
  std::uint64_t bytes = 0;              ///< of the video so far
  std::uint64_t size = 0;               ///< of the whole video; 0 while unknown
  std::optional<std::string> relative;  ///< path below the download folder
  std::optional<std::string> path;      ///< full path

  static TaskView of(const ZRDownloadTask& task);
};

/// "paused", "waiting", "executing", "errored" or "finished".
const char* stateName(ZRTaskState state);

}  // namespace site
