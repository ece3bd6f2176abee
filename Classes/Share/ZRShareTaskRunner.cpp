#include "ZRShareTaskRunner.h"

#include <utility>

#include "ZRPath.h"

std::shared_ptr<ZRShareTaskRunner> ZRShareTaskRunner::taskWithParams(const ZRDictionary& params) {
  return initWithParams(params);
}

std::shared_ptr<ZRShareTaskRunner> ZRShareTaskRunner::initWithParams(const ZRDictionary& params) {
  return initWithdowloadModel(ZRShareDownloadModel::modelWithParams(params));
}

std::shared_ptr<ZRShareTaskRunner> ZRShareTaskRunner::initWithdowloadModel(
    std::shared_ptr<ZRShareDownloadModel> model) {
  auto task = std::make_shared<ZRShareTaskRunner>();
  task->shareDownloadModel_ = std::move(model);
  task->resetRetryTimes();
  return task;
}

void ZRShareTaskRunner::resume() {
  detailReturns_.reset();
  subtitlesGivenUpFrom_ = kNoSubtitle;
  ZRTabledTaskRunner::resume();
}

void ZRShareTaskRunner::syncToDBWithShareParams(const ZRDictionary& params) {
  if (!shareDownloadModel_) return;
  for (const char* key : {"host", "videoName", "deviceName", "albumName"}) {
    shareDownloadModel_->setValueForKey(params[key], key);
  }
  _syncStateToDB();
}

std::optional<ZRDictionary> ZRShareTaskRunner::videoInfoDic() const {
  std::optional<ZRDictionary> info = model().toDic();
  const std::optional<std::string> cover = coverFilePath();
  if (info && cover && ZRPath::exists(*cover)) info->set("cover", *cover);
  return info;
}

std::optional<ZRTaskList> ZRShareTaskRunner::filtedSameAlbumTasks(const ZRTaskList& tasks) const {
  ZRTaskList same;
  for (const auto& task : tasks) {
    const auto share = std::dynamic_pointer_cast<ZRShareTaskRunner>(task);
    if (share && aid() && share->aid() == aid()) same.push_back(task);
  }
  return same;
}

std::string ZRShareTaskRunner::taskId() const {
  return "share-" + std::to_string(pkid());
}

// A video that could not be stored is refused before anything of it is.
void ZRShareTaskRunner::startPhase() {
  switch (phase()) {
    case ZRSharePhase::SharePhaseRequestInfo:
      requestShareVideoInfo();
      break;
    case ZRSharePhase::SharePhaseSubtitles:
      if (!videoSavePath()) return refuseName();
      downloadSubtitles();
      downloadCoverImg();
      break;
    case ZRSharePhase::SharePhaseVideo:
      downloadCoverImg();
      downloadShareVideo();
      break;
    case ZRSharePhase::SharePhaseFinished:
      finishDownload();
      break;
  }
}

const ZRShareDownloadModel& ZRShareTaskRunner::model() const noexcept {
  static const ZRShareDownloadModel none;
  return shareDownloadModel_ ? *shareDownloadModel_ : none;
}

void ZRShareTaskRunner::finishDownload() {
  log(ZRLogLevel::Event, "finish%@", *this);
  finishWhenDurable(videoSavePath().value_or(""));
}
