#include "ZRM3u8TaskRunner.h"

#include <utility>

#include "ZROptions.h"

std::shared_ptr<ZRM3u8TaskRunner> ZRM3u8TaskRunner::taskWithParams(const ZRDictionary& params) {
  return initWithParams(params);
}

std::shared_ptr<ZRM3u8TaskRunner> ZRM3u8TaskRunner::initWithParams(const ZRDictionary& params) {
  auto info = std::make_shared<ZRDownloadVideoInfo>();
  info->setVideoId(params[kZRParamVid].int64Value());
  info->setAid(params[kZRParamAid].int64Value());
  info->setSite(params[kZRParamSite].int32Value());
  info->setVersion(params[kZRParamVersion].int32Value());
  const char* const refusal = info->videoId() < 1   ? "视频vid不合法"
                              : info->site() < 1    ? "视频site不合法"
                              : info->version() < 1 ? "视频version不合法"
                                                    : nullptr;
  if (refusal != nullptr) {
    log(ZRLogLevel::Failure, refusal);
    return nullptr;
  }
  auto task = initWithVideoInfo(std::move(info));
  task->albumPic_ = ZRText::fromValue(params[kZRParamAlbumPic]);
  return task;
}

std::shared_ptr<ZRM3u8TaskRunner> ZRM3u8TaskRunner::initWithVideoInfo(
    std::shared_ptr<const ZRDownloadVideoInfo> videoInfo) {
  auto task = std::make_shared<ZRM3u8TaskRunner>();
  task->setVideoInfo(std::move(videoInfo));
  task->resetRetryTimes();
  return task;
}

std::optional<ZRDictionary> ZRM3u8TaskRunner::videoInfoDic() const {
  if (!videoInfo_) return std::nullopt;
  ZRDictionary dic = videoInfo_->toDic();
  dic.set("albumCover", albumPic_.value());  // an absent text sets nothing
  return dic;
}

void ZRM3u8TaskRunner::preloadVideoInfoIfNeed() {
  if (phase() != ZRM3u8Phase::PhaseLoadVideoInfo) return;
  requestM3u8VideoInfo(&ZRM3u8TaskRunner::videoInfoPreloaded);
}

std::uint64_t ZRM3u8TaskRunner::receivedBytes() const {
  return isShafa() ? downloadedBytes_ : allDownloadedSegmentsBytes_ + currentSegmentBytes_;
}

std::optional<ZRTaskList> ZRM3u8TaskRunner::filtedSameAlbumTasks(const ZRTaskList& tasks) const {
  ZRTaskList same;
  if (aid() == 0) return same;
  for (const auto& task : tasks) {
    const auto other = std::dynamic_pointer_cast<ZRM3u8TaskRunner>(task);
    if (other && other->aid() == aid()) same.push_back(task);
  }
  return same;
}

std::string ZRM3u8TaskRunner::description() const {
  return "【vid:" + std::to_string(vid()) + ",aid:" + std::to_string(aid()) + ",ts:" + std::to_string(currentSegment_) +
         "】";
}

std::string ZRM3u8TaskRunner::debugDescription() const {
  const ZRDictionary info = videoInfoDic().value_or(ZRDictionary());
  return "【vid:" + std::to_string(vid()) + ",aid:" + std::to_string(aid()) + ",ts:" + std::to_string(currentSegment_) +
         ",order:" + std::to_string(info["playOrder"].int32Value()) + ",ac:" + fixed(activeTimestamp()) +
         ",name:" + info["title"].textValue().value_or("(null)") + "】";
}

void ZRM3u8TaskRunner::startPhase() {
  switch (phase()) {
    case ZRM3u8Phase::PhaseLoadVideoInfo:
      requestM3u8VideoInfo(&ZRM3u8TaskRunner::videoInfoLoaded);
      break;
    case ZRM3u8Phase::PhaseFetchPlaylist:
      downloadThumImgFile();
      downloadM3u8File();
      break;
    case ZRM3u8Phase::PhaseDownloadSegments:
      goOnWithSegments();
      break;
    case ZRM3u8Phase::PhaseFinished:
      finishDownloadTS();
      break;
    case ZRM3u8Phase::PhaseDownloadMp4:
      downloadMp4();
      break;
  }
}

/// The table has no column for the state: it follows from the phase.
void ZRM3u8TaskRunner::rowLoaded() {
  if (phase() == ZRM3u8Phase::PhaseFinished) {
    updateTaskStateIvar(ZRTaskState::Finished);
  } else {
    resetRetryTimes();
  }
}

void ZRM3u8TaskRunner::setVideoInfo(std::shared_ptr<const ZRDownloadVideoInfo> videoInfo) {
  videoInfo_ = std::move(videoInfo);
  archivedVideoInfo_.clear();
}

/// The service's record must not change the id that the task is known by.
void ZRM3u8TaskRunner::takeVideoInfo(const std::shared_ptr<ZRDownloadVideoInfo>& received) {
  received->setVideoId(vid());
  setVideoInfo(received);
}

void ZRM3u8TaskRunner::videoInfoLoaded(const std::optional<ZRError>& error,
                                       const std::shared_ptr<ZRDownloadVideoInfo>& videoInfo) {
  if (!isExecuting()) return;
  if (error) return throwErr(*error);
  takeVideoInfo(videoInfo);
  executePhase(isShafa() ? ZRM3u8Phase::PhaseDownloadMp4 : ZRM3u8Phase::PhaseFetchPlaylist);
}

// A video that is one MP4 file goes to the playlist's phase too: it has no playlist, so it asks for its record again.
void ZRM3u8TaskRunner::videoInfoPreloaded(const std::optional<ZRError>&,
                                          const std::shared_ptr<ZRDownloadVideoInfo>& videoInfo) {
  if (!videoInfo) return;
  takeVideoInfo(videoInfo);
  setPhase(ZRM3u8Phase::PhaseFetchPlaylist);
  syncStateToDB();
}

void ZRM3u8TaskRunner::finishDownloadTS() {
  log(ZRLogLevel::Event, "finishTS:%@", *this);
  updateAllTsURL({});
  finishWhenDurable(isShafa() ? mp4VideoSavePath() : std::string());
}

void ZRM3u8TaskRunner::logFailure(const ZRError& error) const {
  log(ZRLogLevel::Failure, "ts:%ld/%ld;%@-%@", currentSegment_, totalSegment_, error, currentUrlString());
}
