#include <utility>

#include "ZR73Mp4TaskRunner.h"

void ZR73Mp4TaskRunner::requestMp4VideoInfo() {
  const std::int64_t generation = ++tag_;
  preloadVideoInfoIfNeed([weak = _weak<ZR73Mp4TaskRunner>(), generation](const std::optional<ZRError>& error) {
    const auto self = weak.lock();
    if (!self || self->tag_ != generation) return;
    if (!self->isExecuting()) {
      self->syncStateToDB();
    } else if (error) {
      self->throwErr(*error);
    } else {
      self->_executePhase(static_cast<std::uint64_t>(ZR73Mp4Phase::Mp4PhaseDownload));
    }
  });
}

void ZR73Mp4TaskRunner::preloadVideoInfoIfNeed(MetadataCompletion completion) {
  if (phase() != ZR73Mp4Phase::Mp4PhaseRequestInfo) return;
  ZRReplyCompletion reply = [weak = _weak<ZR73Mp4TaskRunner>(), completion = std::move(completion)](
                                const std::optional<ZRDictionary>& metadata, const std::optional<ZRError>& error) {
    const auto self = weak.lock();
    if (!self) return;
    if (metadata) self->takeMetadata(*metadata);
    if (completion) {
      completion(error);
    } else {
      self->syncStateToDB();
    }
  };
  const ZRDictionary request{{"vid", vid_}, {"version", version_}};
  ZRDownloadManager::sharedManager()->fetch73VideoInfo(request, _onMainLoop(std::move(reply)));
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
  if (!hasEnoughDiskSpace()) {
    throwErr(_diskFullError());
    return;
  }
  const std::string* const url = vidoeUrl_.string();
  if (url == nullptr) {
    handleCannotFindMP4URLErr();
    return;
  }
  const auto request = _makeCountedDownload(*url, videoSavePath(), &ZR73Mp4TaskRunner::downloadedBytes_,
                                            &ZR73Mp4TaskRunner::downloadEnded);
  request->setUseBreakpointContinuous(true);
  _cancelCurrentReq();
  _start(request);
}

void ZR73Mp4TaskRunner::downloadEnded(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) {
    throwErr(*response.err());
    return;
  }
  resetRetryTimes();
  finishDownload();
}

void ZR73Mp4TaskRunner::handleCannotFindMP4URLErr() {
  if (_spendRetry()) {
    _executeNextPhase();
  } else {
    throwErr(
        ZRError(ZRErrorCode::ResourceUnusable, "找不到MP4下载地址").with(kZRErrorReasonKey, kZRReasonNoMp4Address));
  }
}

void ZR73Mp4TaskRunner::throwErr(const ZRError& error) {
  const ZRError own = _mappedTransportError(error);
  _log(2, "%@", _currentUrlString());
  invokeErrorNotifi(own);
}
