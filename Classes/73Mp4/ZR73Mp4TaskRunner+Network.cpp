#include "SCFailure.h"
#include "ZR73Mp4TaskRunner.h"

void ZR73Mp4TaskRunner::requestMp4VideoInfo() {
  const auto answered = [generation = ++tag_](ZR73Mp4TaskRunner& self, const auto& metadata, const auto& error) {
    if (metadata) self.takeMetadata(*metadata);
    if (self.tag_ != generation) return;
    if (!self.isExecuting()) return self.syncStateToDB();
    if (error) return self.throwErr(*error);
    self.executePhase(ZR73Mp4Phase::Mp4PhaseDownload);
  };
  ZRDownloadManager::sharedManager()->fetch73VideoInfo(metadataRequest(), hostReply(answered));
}

void ZR73Mp4TaskRunner::preloadVideoInfoIfNeed() {
  if (phase() != ZR73Mp4Phase::Mp4PhaseRequestInfo) return;
  const auto answered = [](ZR73Mp4TaskRunner& self, const auto& metadata, const auto&) {
    if (metadata) self.takeMetadata(*metadata);
    self.syncStateToDB();
  };
  ZRDownloadManager::sharedManager()->fetch73VideoInfo(metadataRequest(), hostReply(answered));
}

// A key that the reply lacks clears its field, the cover given by the parameters included.
void ZR73Mp4TaskRunner::takeMetadata(const ZRDictionary& metadata) {
  videoName_ = ZRText::fromValue(metadata["title"]);
  vidoeUrl_ = ZRText::fromValue(metadata["url"]);
  cover_ = ZRText::fromValue(metadata["cover"]);
  duration_ = metadata["duration"].int32Value();
  fileSize_ = metadata["fileSize"].int64Value();
}

void ZR73Mp4TaskRunner::downloadMp4() {
  if (!hasEnoughDiskSpace()) return throwErr(SCFailure::diskFull());
  const std::string* const url = vidoeUrl_.string();
  if (url == nullptr) return handleCannotFindMP4URLErr();
  downloadFile(*url, videoSavePath(), &ZR73Mp4TaskRunner::finishDownload);
}

void ZR73Mp4TaskRunner::handleCannotFindMP4URLErr() {
  if (spendRetry()) return _executeNextPhase();
  throwErr(ZRError(ZRErrorCode::ResourceUnusable, "找不到MP4下载地址").with(kZRErrorReasonKey, kZRReasonNoMp4Address));
}
