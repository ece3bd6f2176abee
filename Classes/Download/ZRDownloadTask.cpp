#include "ZRDownloadTask.h"

#include "SCNetworkAgent.h"
#include "ZRTimer.h"

ZRDownloadTask::ZRDownloadTask() = default;
ZRDownloadTask::~ZRDownloadTask() = default;

std::optional<ZRDictionary> ZRDownloadTask::videoInfoDic() const {
  return std::nullopt;
}

bool ZRDownloadTask::existInDB() {
  return false;
}

void ZRDownloadTask::syncToDBWithShareParams(const ZRDictionary&) {}

std::uint64_t ZRDownloadTask::receivedBytes() const {
  return 0;
}

std::uint64_t ZRDownloadTask::expectedBytes() const {
  return 0;
}

float ZRDownloadTask::currentDownloadProgress() const {
  return 0;
}

std::optional<std::string> ZRDownloadTask::localRelativeFilePath() const {
  return std::nullopt;
}

std::optional<std::string> ZRDownloadTask::localFullFilePath() const {
  return std::nullopt;
}

std::optional<std::string> ZRDownloadTask::m3u8Url() const {
  return std::nullopt;
}

std::optional<ZRTaskList> ZRDownloadTask::filtedSameAlbumTasks(const ZRTaskList&) const {
  return std::nullopt;
}

std::string ZRDownloadTask::taskId() const {
  return std::to_string(pkid_);
}

std::string ZRDownloadTask::description() const {
  return "【pkid:" + std::to_string(pkid_) + "】";
}

void ZRDownloadTask::insert2DBWithCompletion(const std::function<void(bool)>& completion) {
  if (completion) completion(false);
}

void ZRDownloadTask::preloadVideoInfoIfNeed() {}

void ZRDownloadTask::clean(const std::function<void()>&) {}

void ZRDownloadTask::syncStateToDB() {}

void ZRDownloadTask::forceError(const ZRError&) {}

void ZRDownloadTask::resume() {
  lastFailure_.reset();  // also for a task that is executing and tries its step again
  setTaskState(ZRTaskState::Executing);
}

void ZRDownloadTask::switch2Finish() {}

void ZRDownloadTask::switch2Wait() {}

void ZRDownloadTask::switch2Pause() {}

void ZRDownloadTask::cleanDownloadFiles() {}
