#include "Snippets.h"

// [stuck]
/// To be asked once a second for each task. True when the task was stuck, and was paused therefore.
bool StuckWatch::look(const std::shared_ptr<ZRDownloadTask>& task, Clock::time_point now) {
  constexpr std::chrono::seconds kLongestSilence{90};
  const float progress = task->currentDownloadProgress();
  const bool lives = !task->isExecuting() || task->currentDownloadSpeed() > 0 || progress != progress_;
  if (lives) lastLife_ = now;
  progress_ = progress;
  if (now - lastLife_ < kLongestSilence) return false;
  ZRDownloadManager::sharedManager()->pauseTask(task);
  return true;
}
// [stuck]
