#include "ZRClock.h"
#include "ZRDownloadManager.h"
#include "ZRDownloadTask.h"
#include "ZRThreadCheck.h"

namespace {

constexpr unsigned kReportTaskFinished = 202;

}  // namespace

void ZRDownloadTask::switchState() {
  zrAssertLoopThread();
  const auto manager = ZRDownloadManager::sharedManager();
  switch (taskState_) {
    case ZRTaskState::Paused:
    case ZRTaskState::Waiting:
    case ZRTaskState::Errored:
      manager->resumeTask(shared_from_this());
      break;
    case ZRTaskState::Executing:
      manager->pauseTask(shared_from_this());
      break;
    case ZRTaskState::Finished:
      break;
  }
}

void ZRDownloadTask::setTaskState(ZRTaskState state) {
  zrAssertLoopThread();
  if (state != taskState_) enterState(state);
  taskStateWasSet();
}

void ZRDownloadTask::enterState(ZRTaskState state) {
  taskState_ = state;
  const bool startsAnew = state == ZRTaskState::Executing || state == ZRTaskState::Waiting;
  if (startsAnew || state == ZRTaskState::Finished) lastFailure_.reset();
  if (state != ZRTaskState::Executing) invalidateSpeedTimer();  // a number that is no state does so too
  switch (state) {
    case ZRTaskState::Executing:
      resetSpeedTimer();
      activeTimestamp_ = ZRClock::secondsSinceReferenceDate();
      break;
    case ZRTaskState::Waiting:
      activeTimestamp_ = ZRClock::secondsSinceReferenceDate();
      break;
    case ZRTaskState::Paused:
      activeTimestamp_ = 0;
      break;
    case ZRTaskState::Finished:
      ZRDownloadManager::sharedManager()->cc(kReportTaskFinished, reportedVersion());
      break;
    case ZRTaskState::Errored:
      break;
  }
  syncStateToDB();
  // Rows are loaded before they are given the store: nobody was told of another state.
  if (db_) ZRDownloadManager::sharedManager()->announceChange(weak_from_this().lock());
}
