#include <algorithm>
#include <filesystem>
#include <utility>

#include "SCAddress.h"
#include "SCFailure.h"
#include "SCNetworkAgent.h"
#include "ZRBackgroundQueue.h"
#include "ZRFolderSync.h"
#include "ZRPath.h"
#include "ZRShareRules.h"
#include "ZRShareTaskRunner.h"

namespace {

constexpr int kPingTimeout = 1;  // seconds

std::optional<std::string> textIn(const ZRValue& value) {
  return value.asText() != nullptr ? std::optional(*value.asText()) : std::nullopt;
}

bool isAddress(const std::string& text) {
  return std::holds_alternative<SCAddress>(SCAddress::parse(text));
}

/// All that a power cut may leave of a cover is its name.
bool isEmptyFile(const std::string& path) {
  std::error_code gone;
  return std::filesystem::is_regular_file(path, gone) && std::filesystem::file_size(path, gone) == 0;
}

ZRError cannotFindShareURLError(const char* reason) {
  return ZRError(ZRErrorCode::ResourceUnusable, "找不到share下载地址").with(kZRErrorReasonKey, reason);
}

}  // namespace

// Finding the device. Only the detail request is the current one; the others run on to their end when the task stops.

void ZRShareTaskRunner::requestShareVideoInfo() {
  if (model().lanOnly()) return requestShareVideoDetail();
  const std::string shareUrl = model().shareUrl().value_or("");
  if (!shareUrl.empty()) return requestShareVideoWithShareUrl(shareUrl);
  fetchShareUrl([self = weak().lock()](const std::string& found) {
    if (self->shareDownloadModel_) self->shareDownloadModel_->setShareUrl(found);
    self->requestShareVideoWithShareUrl(found);
  });
}

// The look-up keeps its task: what it finds is stored even if nobody else holds the task any more.
void ZRShareTaskRunner::fetchShareUrl(std::function<void(const std::string&)> completion) {
  const auto request = ZRRequests::makeRequest(ZRShareRules::albumDetailURL(model().host().value_or("")),
                                               ZRRequests::makeParser("data/shareUrl"));
  ZRDictionary query;
  query.set("albumId", ZRValue::orAbsent(aid()));
  request->setQueryParameters(std::move(query));
  request->setResponseHandler(
      [self = weak().lock(), completion = std::move(completion)](const auto&, const auto& response) {
        const std::string* const found = response.err() ? nullptr : response.parserResult().value.asText();
        if (found == nullptr || !isAddress(*found)) return self->throwErr(ZRShareRules::hostOfflineError());
        completion(*found);
      });
  startUnrecorded(request);
}

void ZRShareTaskRunner::requestShareVideoWithShareUrl(const std::string& shareUrl) {
  fetchHostWithShareUrl(shareUrl, [weak = weak()](const std::optional<std::string>& host) {
    const auto self = weak.lock();
    if (!self) return;
    if (host && self->shareDownloadModel_) self->shareDownloadModel_->setHost(*host);
    self->requestShareVideoDetail();
  });
}

void ZRShareTaskRunner::fetchHostWithShareUrl(const std::string& shareUrl, TextCompletion completion) {
  auto parser = ZRRequests::makeParser("data");
  parser->setErrorMsgKeyPath("error");
  const auto request = ZRRequests::makeRequest(shareUrl, std::move(parser));
  request->setQueryParameters({{"from", "mac"}});
  request->setResponseHandler([weak = weak(), completion = std::move(completion)](const auto&, const auto& response) {
    const auto self = weak.lock();
    if (!self) return;
    if (response.err()) return self->throwErr(*response.err());
    const ZRDictionary* const found = response.parserResult().value.asDictionary();
    const ZRDictionary addresses = found != nullptr ? *found : ZRDictionary();
    self->pingLanHost(textIn(addresses["lan"]),
                      [completion, relay = textIn(addresses["url"])](const std::optional<std::string>& lan) {
                        completion(lan ? lan : relay);
                      });
  });
  startUnrecorded(request);
}

void ZRShareTaskRunner::pingLanHost(const std::optional<std::string>& baseUrl, TextCompletion completion) {
  if (!baseUrl) return completion(std::nullopt);
  const auto request = ZRRequests::makeRequest(ZRShareRules::pingURL(*baseUrl), ZRRequests::makeParser("data"));
  request->setTimeout(kPingTimeout);
  request->setResponseHandler([baseUrl, completion = std::move(completion)](const auto&, const auto& response) {
    completion(response.err() ? std::nullopt : baseUrl);
  });
  startUnrecorded(request);
}

void ZRShareTaskRunner::requestShareVideoDetail() {
  if (phase() != ZRSharePhase::SharePhaseRequestInfo) return;
  std::string host = model().host().value_or("");
  if (!host.ends_with('/')) {
    host += '/';
    if (shareDownloadModel_) shareDownloadModel_->setHost(host);
  }
  ZRShareVideoDetail::registerModels();
  auto parser = ZRRequests::makeParser<SCNetworkModelResponseParser>("data");
  parser->setModelName("ZRShareVideoDetail");
  const auto request = ZRRequests::makeRequest(host + "video.action?videoId=" + vid().value_or(""), std::move(parser));
  request->setResponseHandler([weak = weak()](const auto&, const auto& response) {
    const auto self = weak.lock();
    if (self) self->detailEnded(response);
  });
  log(ZRLogLevel::Trace, "shareDownloadVideo:%@", request);
  start(request);
}

void ZRShareTaskRunner::detailEnded(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) return detailFailed(*response.err(), response.statusCode());
  resetRetryTimes();  // also when a failed download led back here
  videoDetail_ = response.parserModel<ZRShareVideoDetail>();
  executePhase(ZRSharePhase::SharePhaseSubtitles);
}

void ZRShareTaskRunner::detailFailed(const ZRError& error, int httpStatus) {
  constexpr int kAnswered = 200;
  if (const auto verdict = ZRShareRules::finalDetailError(error, httpStatus)) return throwErr(*verdict);
  if (spendRetry()) return _executeNextPhase();
  throwErr(httpStatus == kAnswered ? ZRShareRules::hostOfflineError() : error);
}

// The downloads.

// Nothing waits for the cover, and its failure changes nothing.
void ZRShareTaskRunner::downloadCoverImg() {
  const std::optional<std::string> path = coverFilePath();
  const bool isThere = path && ZRPath::exists(*path) && !isEmptyFile(*path);
  if (!coverReq_.expired() || !path || isThere || !makeRoomForFile(*path)) return;
  const auto request =
      ZRRequests::makeDownload(model().host().value_or("") + "coverImg.action?videoId=" + vid().value_or(""), *path);
  request->setResponseHandler([path = *path](const auto&, const auto& response) {  // it may come after the task's end
    if (!response.err()) ZRBackgroundQueue::disk().post([path] { ZRFolderSync::makeFileDurable(path); });
  });
  log(ZRLogLevel::Trace, "shareDownloadCoverImg:%@", request);
  startUnrecorded(request);
  coverReq_ = request;
}

void ZRShareTaskRunner::downloadSubtitles() {
  if (!videoDetail_ || videoDetail_->subtitles().empty()) return executePhase(ZRSharePhase::SharePhaseVideo);
  const auto last = static_cast<std::int64_t>(videoDetail_->subtitles().size()) - 1;
  downloadSubtitlesWithIndex(std::min(last, subtitlesGivenUpFrom_ - 1), [weak = weak()] {
    if (const auto self = weak.lock()) self->executePhase(ZRSharePhase::SharePhaseVideo);
  });
}

void ZRShareTaskRunner::downloadSubtitlesWithIndex(std::int64_t index, SubtitlesCompletion completion) {
  index = subtitleFrom(index);
  if (index < 0) return completion();
  const std::shared_ptr<const ZRShareSubtitle> subtitle = videoDetail_->subtitles()[static_cast<std::size_t>(index)];
  const std::optional<std::string> path = savePathWithName(subtitle->name());
  if (!path) return refuseName();
  if (ZRPath::exists(*path)) return;  // a chain that meets a subtitle already on disk ends there
  if (!hasEnoughDiskSpace()) return throwErr(SCFailure::diskFull());
  if (!subtitle->url()) return handleCannotFindShareURLErr();
  if (!makeRoomForFile(*path)) return refuseName();
  requestSubtitle(*subtitle->url(), *path, index, std::move(completion));
}

/// The first subtitle to fetch from `index` downwards, below 0 when there is none. One that would be stored where the
/// video's download works is passed over: the video would continue the subtitle's bytes.
std::int64_t ZRShareTaskRunner::subtitleFrom(std::int64_t index) const {
  const ZRShareVideoDetail::Subtitles none;
  const ZRShareVideoDetail::Subtitles& subtitles = videoDetail_ ? videoDetail_->subtitles() : none;
  const std::string folder = videoSaveDir();
  const std::optional<std::string> video = videoSavePath();
  const auto disturbs = [&](const ZRShareSubtitle& subtitle) {
    const auto path = ZRShareRules::pathInFolder(folder, subtitle.name().value_or(""));
    return path && video && ZRShareRules::disturbsVideo(*path, *video);
  };
  index = std::min(index, static_cast<std::int64_t>(subtitles.size()) - 1);
  while (index >= 0 && disturbs(*subtitles[static_cast<std::size_t>(index)])) --index;
  return index;
}

void ZRShareTaskRunner::requestSubtitle(const std::string& url, const std::string& path, std::int64_t index,
                                        SubtitlesCompletion completion) {
  cancelCurrentReq();
  const auto request = ZRRequests::makeDownload(url, path);
  request->setResponseHandler(
      whileExecuting([index, completion = std::move(completion)](ZRShareTaskRunner& self,
                                                                 const SCNetworkApiResponseProtocol& response) {
        self.subtitleEnded(response, index, completion);
      }));
  log(ZRLogLevel::Trace, "shareDownloadSubtitle:%@", request);
  start(request);
}

// A subtitle that still fails after its retries is given up, so that a retry of an earlier one does not begin with it.
void ZRShareTaskRunner::subtitleEnded(const SCNetworkApiResponseProtocol& response, std::int64_t index,
                                      const SubtitlesCompletion& completion) {
  if (!response.err()) {
    detailReturns_.reset();
  } else if (*response.err() == SCFailure::diskFull()) {
    return throwErr(*response.err());
  } else if (spendRetry()) {
    return _executeNextPhase();
  } else {
    subtitlesGivenUpFrom_ = index;
  }
  resetRetryTimes();
  downloadSubtitlesWithIndex(index - 1, completion);
}

void ZRShareTaskRunner::downloadShareVideo() {
  if (!hasEnoughDiskSpace()) return throwErr(SCFailure::diskFull());
  if (!videoDetail_ || !videoDetail_->url()) return handleCannotFindShareURLErr();
  const std::optional<std::string> path = videoSavePath();
  if (!path || !makeRoomForFile(*path)) return refuseName();
  cancelCurrentReq();
  requestVideo(*videoDetail_->url(), *path);
}

void ZRShareTaskRunner::requestVideo(const std::string& url, const std::string& path) {
  const auto request = ZRRequests::makeDownload(url, path);
  request->setUseBreakpointContinuous(true);
  request->setProgressHandler(counting([](ZRShareTaskRunner& self, std::uint64_t received, std::uint64_t expected) {
    self.downloadedBytes_ = received;
    if (received > self.furthestByte_) self.detailReturns_.reset();
    self.furthestByte_ = std::max(self.furthestByte_, received);
    ZRShareDownloadModel& share = *self.shareDownloadModel_;  // without one there is no path to download to
    if (share.fileSize() == 0) share.setFileSize(static_cast<std::int64_t>(expected));
  }));
  request->setResponseHandler(whileExecuting(&ZRShareTaskRunner::videoEnded));
  start(request);
}

void ZRShareTaskRunner::videoEnded(const SCNetworkApiResponseProtocol& response) {
  if (!response.err()) {
    resetRetryTimes();
    return finishDownload();
  }
  if (*response.err() == SCFailure::diskFull() || !returnToDetail()) throwErr(*response.err());
}

// Requests and errors.

void ZRShareTaskRunner::startUnrecorded(const std::shared_ptr<SCNetworkBaseApi>& request) {
  if (networkAgent()) networkAgent()->execApi(request);
}

void ZRShareTaskRunner::handleCannotFindShareURLErr() {
  if (!returnToDetail()) throwErr(cannotFindShareURLError(kZRReasonNoShareAddress));
}

// The detail's success fills the retries: they alone would let a device that tells of a video and never sends it be
// asked for ever.
bool ZRShareTaskRunner::returnToDetail() {
  if (!detailReturns_.spend() || !spendRetry()) return false;
  executePhase(ZRSharePhase::SharePhaseRequestInfo);
  return true;
}

/// A name that leads to no place in the task's folder; no retry, for the device would send it again.
void ZRShareTaskRunner::refuseName() {
  throwErr(cannotFindShareURLError(kZRReasonBadName));
}
