#include <filesystem>
#include <system_error>
#include <utility>

#include "ZRClock.h"
#include "ZRHost.h"
#include "ZRM3u8Rules.h"
#include "ZRM3u8TaskRunner.h"
#include "ZRPath.h"

namespace {

constexpr const char* kApiKey = "3f1c0a9e7d2b4c6f8e5a1d0b9c7e2f4a";

/// The host's version as it was at the first request for a record; nothing when the host told none.
const std::optional<std::string>& applicationVersion() {
  static const std::optional<std::string> version = ZRHost::current().shortVersion;
  return version;
}

/// Null when it is missing or empty.
const std::string* usable(const std::optional<std::string>& url) {
  return url && !url->empty() ? &*url : nullptr;
}

/// The addresses in a decryption reply, in playlist order; an entry that is no text counts as an empty one.
std::vector<std::string> segmentUrls(const ZRDictionary& reply) {
  std::vector<std::string> urls;
  const ZRValue::List* const entries = reply["tsArr"].asList();
  if (entries == nullptr) return urls;
  urls.reserve(entries->size());
  for (const ZRValue& entry : *entries) urls.push_back(entry.asText() != nullptr ? *entry.asText() : std::string());
  return urls;
}

}  // namespace

void ZRM3u8TaskRunner::requestM3u8VideoInfo(VideoInfoCompletion completion) {
  ZRDownloadVideoInfo::registerModel();
  auto parser = std::make_shared<SCNetworkModelResponseParser>();
  parser->setCheckKeyPath("status");
  parser->setOkValue("200");
  parser->setTargetKeyPath("data");
  parser->setModelName("ZRDownloadVideoInfo");
  parser->setRefObj(version());

  ZRDictionary query{{"site", site()}, {"api_key", kApiKey}, {"plat", "14"}};
  query.set("sver", ZRValue::orAbsent(applicationVersion()));
  query.set("ssl", "1");

  const auto request = std::make_shared<SCNetworkBaseApi>();
  request->setUrlString(ZRHost::current().videoInfoBaseURL + "/" + std::to_string(vid()) + ".json");
  request->setMethod(0);
  request->setQueryParameters(std::move(query));
  request->setResponseParser(std::move(parser));
  request->setResponseHandler([completion = std::move(completion)](const auto&, const auto& response) {
    completion(response.err(), response.template parserModel<ZRDownloadVideoInfo>());
  });
  _log(0, "step1:%@", request);
  _cancelCurrentReq();
  startM3u8Request(request);
}

ZRDictionary ZRM3u8TaskRunner::cdnDefaultParams() {
  const ZRDictionary* const params =
      ZRDownloadManager::sharedManager()->opts()[kZROptionM3u8CdnParams.name].asDictionary();
  return params != nullptr ? *params : ZRDictionary();
}

void ZRM3u8TaskRunner::downloadM3u8File() {
  if (const std::optional<ZRError> error = checkErrorBeforeDownloadM3u8File()) {
    handleErr(*error);
    return;
  }
  const std::string* const url = videoInfo_ ? usable(videoInfo_->m3u8Url()) : nullptr;
  if (url == nullptr) {
    handleCannotFindM3u8URLErr();
    return;
  }
  ZRReplyCompletion reply = [weak = _weak<ZRM3u8TaskRunner>(), url = *url](const std::optional<ZRDictionary>& key,
                                                                           const std::optional<ZRError>& error) {
    const auto self = weak.lock();
    if (!self || !self->isAwaitingPlaylist()) return;
    if (error) {
      self->handleErr(*error);
    } else {
      self->downloadM3u8FileWithMkey(key.value_or(ZRDictionary()), url);
    }
  };
  ZRDownloadManager::sharedManager()->fetchMkey({{"aid", aid()}, {"vid", vid()}}, _onMainLoop(std::move(reply)));
}

void ZRM3u8TaskRunner::downloadM3u8FileWithMkey(const ZRDictionary& keyReply, const std::string& m3u8URL) {
  const std::string* const mkey = keyReply["mkey"].asText();
  const auto request =
      _makeDownload(mkey != nullptr ? ZRM3u8Rules::urlWithMkey(m3u8URL, *mkey) : m3u8URL, netM3U8FilePath());
  request->setQueryParameters(cdnDefaultParams());
  if (const std::string* const cookie = keyReply["cookie"].asText()) request->setHeader({{"Cookie", *cookie}});
  request->setResponseHandler(_whileExecuting(&ZRM3u8TaskRunner::playlistEnded));
  _log(0, "step2:%@", request);
  if (const auto older = playlistRequest_.lock()) older->cancel();  // not the current one, which may be the thumbnail's
  startM3u8Request(request);
  playlistRequest_ = request;
}

// The encrypted playlist is deleted before its outcome is looked at: a retry downloads to the same path.
void ZRM3u8TaskRunner::playlistEnded(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) {
    handleErr(*response.err());
    return;
  }
  const ZRDecryptionHandler decrypt = ZRDownloadManager::sharedManager()->decryptionHandler();
  if (!decrypt) return;
  const std::string contentPath = netM3U8FilePath();
  ZRReplyCompletion decrypted = [weak = _weak<ZRM3u8TaskRunner>(), contentPath](
                                    const std::optional<ZRDictionary>& reply, const std::optional<ZRError>& error) {
    std::error_code ignored;
    std::filesystem::remove(contentPath, ignored);
    const auto self = weak.lock();
    if (self && self->isAwaitingPlaylist()) self->afterDecryption(reply.value_or(ZRDictionary()), error);
  };
  ZRDictionary request{{"contentPath", contentPath}, {"localPath", _localFullM3U8FilePath()}};
  if (videoInfo_) request.set("m3u8Url", ZRValue::orAbsent(videoInfo_->m3u8Url()));
  decrypt(request, _onMainLoop(std::move(decrypted)));
}

// `currentSegment` stays: a playlist that is fetched again goes on where the one before ended.
void ZRM3u8TaskRunner::afterDecryption(const ZRDictionary& reply, const std::optional<ZRError>& error) {
  if (error) {
    decryptionFailed(*error);
    return;
  }
  const std::vector<std::string> urls = segmentUrls(reply);
  totalSegment_ = static_cast<std::int64_t>(urls.size());
  _log(1, "store ts(%ld)(%ld-%ld)", totalSegment_, aid(), vid());
  updateAllTsURL(urls);
  stamp_ = ZRClock::secondsSince1970();
  syncStateToDB();
  _executePhase(ZRM3u8Phase::PhaseDownloadSegments);
}

void ZRM3u8TaskRunner::decryptionFailed(const ZRError& error) {
  if (!_spendRetry()) {
    handleErr(ZRError(ZRErrorCode::ResourceUnusable, "m3u8文件解密失败")
                  .with(kZRErrorReasonKey, kZRReasonPlaylistDecryption)
                  .with(kZRErrorCauseKey, error.localizedDescription()));
    return;
  }
  _log(2, "decodeError:%@", error);
  if (!hasRetryTimes()) setPhase(ZRM3u8Phase::PhaseLoadVideoInfo);
  _executeNextPhase();
}

void ZRM3u8TaskRunner::handleCannotFindM3u8URLErr() {
  if (!_spendRetry()) {
    handleErr(
        ZRError(ZRErrorCode::ResourceUnusable, "找不到M3U8地址").with(kZRErrorReasonKey, kZRReasonNoPlaylistAddress));
    return;
  }
  _log(1, "roll back setp 1.");
  _executePhase(ZRM3u8Phase::PhaseLoadVideoInfo);
}

void ZRM3u8TaskRunner::downloadMp4() {
  if (!hasEnoughDiskSpace()) {
    handleErr(_diskFullError());
    return;
  }
  const std::string* const url = videoInfo_ ? usable(videoInfo_->mp4Url()) : nullptr;
  if (url == nullptr) {
    handleCannotFindM3u8URLErr();
    return;
  }
  const auto request =
      _makeCountedDownload(*url, mp4VideoSavePath(), &ZRM3u8TaskRunner::downloadedBytes_, &ZRM3u8TaskRunner::mp4Ended);
  request->setUseBreakpointContinuous(true);
  _cancelCurrentReq();
  startM3u8Request(request);
}

void ZRM3u8TaskRunner::mp4Ended(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) {
    handleErr(*response.err());
    return;
  }
  resetRetryTimes();
  finishDownloadTS();
}

// Nothing waits for the thumbnail, and its failure changes nothing.
void ZRM3u8TaskRunner::downloadThumImgFile() {
  const std::string* const url = isExecuting() && videoInfo_ ? usable(videoInfo_->tvPreviewPic()) : nullptr;
  if (url == nullptr) return;
  const std::string path = thumbImgPath();
  if (ZRPath::exists(path)) return;
  const auto request = _makeDownload(*url, path);
  _log(1, "downloadThumImg:%@", request);
  _cancelCurrentReq();
  startM3u8Request(request);
}

// The segments. Client and server take turns, so the time between two of them counts in full.

void ZRM3u8TaskRunner::goOnWithSegments() {
  if (!_filesAreKnown()) {
    _setFilesAreKnown();
    if (rewindToWholeSegments()) {
      updateAllTsURL({});
      _executePhase(ZRM3u8Phase::PhaseFetchPlaylist);
      return;
    }
  }
  downloadNextTS();
}

void ZRM3u8TaskRunner::downloadNextTS() {
  if (!isExecuting()) return;
  syncStateToDB();
  if (currentSegment_ >= totalSegment_) {
    finishDownloadTS();
    return;
  }
  if (!hasEnoughDiskSpace()) {
    handleErr(_diskFullError());
    return;
  }
  const std::optional<std::string> url = currentTSURL();
  if (!url) {
    handleCannotFindTSURLErr();
    return;
  }
  _log(1, "ts:%ld/%ld;%ld-%ld-%d", currentSegment_, totalSegment_, aid(), vid(), version());
  requestSegment(*url);
}

std::optional<std::string> ZRM3u8TaskRunner::currentTSURL() const {
  std::optional<std::string> url = queryCurrentDownloadSegmentUrl();
  if (usable(url) == nullptr) {
    _log(2, "query ts url is nil！");
    return std::nullopt;
  }
  if (ZRM3u8Rules::areAddressesExpired(stamp_, ZRClock::secondsSince1970())) {
    _log(1, "beyond the ts lift.");
    return std::nullopt;
  }
  return url;
}

void ZRM3u8TaskRunner::requestSegment(const std::string& url) {
  const auto request = _makeCountedDownload(url, currentDownloadSegmentPath(), &ZRM3u8TaskRunner::currentSegmentBytes_,
                                            &ZRM3u8TaskRunner::segmentEnded);
  segmentStart_ = ZRClock::secondsSince1970();
  currentSegmentBytes_ = 0;
  _cancelCurrentReq();  // a task that is resumed while it executes must not fetch twice
  startM3u8Request(request);
}

void ZRM3u8TaskRunner::segmentEnded(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) {
    handleErr(*response.err());
  } else if (validateCurrentDownloadSegment()) {
    segmentCompleted();
  } else if (_spendRetry()) {
    downloadNextTS();
  } else {
    handleErr(ZRError(ZRErrorCode::ResourceUnusable, "TS文件校验失败").with(kZRErrorReasonKey, kZRReasonSegmentCheck));
  }
}

void ZRM3u8TaskRunner::segmentCompleted() {
  _log(0, "ts:%ld/%ld use %0.2f s;", currentSegment_, totalSegment_, ZRClock::secondsSince1970() - segmentStart_);
  resetRetryTimes();
  deleteTSSQLWithIdx(currentSegment_);
  allDownloadedSegmentsBytes_ += currentSegmentBytes_;
  currentSegmentBytes_ = 0;  // at once, not with the next request: until then the progress would count it twice
  ++currentSegment_;
  downloadNextTS();
}

void ZRM3u8TaskRunner::handleCannotFindTSURLErr() {
  if (!_spendRetry()) {
    handleErr(
        ZRError(ZRErrorCode::ResourceUnusable, "找不到TS地址").with(kZRErrorReasonKey, kZRReasonNoSegmentAddress));
    return;
  }
  _log(1, "roll back setp 2.");
  _executePhase(ZRM3u8Phase::PhaseFetchPlaylist);
}
