#include "ZR73Mp4TaskRunner.h"

#include "ZROptions.h"

std::shared_ptr<ZR73Mp4TaskRunner> ZR73Mp4TaskRunner::taskWithParams(const ZRDictionary& params) {
  return initWithParams(params);
}

std::shared_ptr<ZR73Mp4TaskRunner> ZR73Mp4TaskRunner::initWithParams(const ZRDictionary& params) {
  const std::int64_t vid = params[kZRParamVid].int64Value();
  const std::int32_t version = params[kZRParamVersion].int32Value();
  if (vid < 1) {
    log(ZRLogLevel::Failure, "视频vid不合法");
    return nullptr;
  }
  if (version < 1) {
    log(ZRLogLevel::Failure, "视频version不合法");
    return nullptr;
  }
  auto task = std::make_shared<ZR73Mp4TaskRunner>();
  task->vid_ = vid;
  task->version_ = version;
  task->cover_ = ZRText::fromValue(params[kZRParamCover]);
  return task;
}

std::optional<ZRDictionary> ZR73Mp4TaskRunner::videoInfoDic() const {
  ZRDictionary info;
  info.set("title", videoName_.value());  // an absent text sets nothing
  info.set("cover", cover_.value());
  info.set("duration", duration_);
  info.set("vid", vid_);
  info.set("site", site());
  info.set("version", version_);
  info.set("fileSize", fileSize_);
  return info;
}

std::optional<ZRTaskList> ZR73Mp4TaskRunner::filtedSameAlbumTasks(const ZRTaskList&) const {
  return std::nullopt;
}

std::string ZR73Mp4TaskRunner::taskId() const {
  return "73-" + std::to_string(pkid());
}

std::string ZR73Mp4TaskRunner::description() const {
  return "【73vid:" + std::to_string(vid_) + ",ac:" + fixed(activeTimestamp()) + "】";
}

void ZR73Mp4TaskRunner::startPhase() {
  switch (phase()) {
    case ZR73Mp4Phase::Mp4PhaseRequestInfo:
      requestMp4VideoInfo();
      break;
    case ZR73Mp4Phase::Mp4PhaseDownload:
      downloadMp4();
      break;
    case ZR73Mp4Phase::Mp4PhaseFinished:
      finishDownload();
      break;
  }
}

void ZR73Mp4TaskRunner::logFailure(const ZRError&) const {
  log(ZRLogLevel::Failure, "%@", currentUrlString());
}

void ZR73Mp4TaskRunner::finishDownload() {
  log(ZRLogLevel::Event, "finish%@", *this);
  finishWhenDurable(videoSavePath());
}
