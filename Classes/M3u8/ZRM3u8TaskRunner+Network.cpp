#include <filesystem>
#include <system_error>
#include <utility>

#include "SCFailure.h"
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

ZRError unusableError(const char* text, const char* reason) {
  return ZRError(ZRErrorCode::ResourceUnusable, text).with(kZRErrorReasonKey, reason);
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
  auto parser = ZRRequests::makeParser<SCNetworkModelResponseParser>("data");
  parser->setModelName("ZRDownloadVideoInfo");
  parser->setRefObj(version());

  ZRDictionary query{{"site", site()}, {"api_key", kApiKey}, {"plat", "14"}};
  query.set("sver", ZRValue::orAbsent(applicationVersion()));
  query.set("ssl", "1");

  const std::string url = ZRHost::current().videoInfoBaseURL + "/" + std::to_string(vid()) + ".json";
  const auto request = ZRRequests::makeRequest(url, std::move(parser));
  request->setQueryParameters(std::move(query));
  request->setResponseHandler([weak = weak(), completion](const auto&, const auto& response) {
    const auto self = weak.lock();
    if (self) (self.get()->*completion)(response.err(), response.template parserModel<ZRDownloadVideoInfo>());
  });
  log(ZRLogLevel::Trace, "step1:%@", request);
  cancelCurrentReq();
  start(request);
}

ZRDictionary ZRM3u8TaskRunner::cdnDefaultParams() {
  const ZRDictionary* const params =
      ZRDownloadManager::sharedManager()->opts()[kZROptionM3u8CdnParams.name].asDictionary();
  return params != nullptr ? *params : ZRDictionary();
}

void ZRM3u8TaskRunner::downloadM3u8File() {
  if (const std::optional<ZRError> error = checkErrorBeforeDownloadM3u8File()) return throwErr(*error);
  const std::string* const url = videoInfo_ ? usable(videoInfo_->m3u8Url()) : nullptr;
  if (url == nullptr) return handleCannotFindM3u8URLErr();
  const auto answered = [url = *url](ZRM3u8TaskRunner& self, const auto& key, const auto& error) {
    if (!self.isAwaitingPlaylist()) return;
    if (error) return self.throwErr(*error);
    self.downloadM3u8FileWithMkey(key.value_or(ZRDictionary()), url);
  };
  ZRDownloadManager::sharedManager()->fetchMkey({{"aid", aid()}, {"vid", vid()}}, hostReply(answered));
}

void ZRM3u8TaskRunner::downloadM3u8FileWithMkey(const ZRDictionary& keyReply, const std::string& m3u8URL) {
  const std::string* const mkey = keyReply["mkey"].asText();
  const std::string url = mkey != nullptr ? ZRM3u8Rules::urlWithMkey(m3u8URL, *mkey) : m3u8URL;
  const auto request = ZRRequests::makeDownload(url, netM3U8FilePath());
  request->setQueryParameters(cdnDefaultParams());
  if (const std::string* const cookie = keyReply["cookie"].asText()) request->setHeader({{"Cookie", *cookie}});
  request->setResponseHandler(whileExecuting(&ZRM3u8TaskRunner::playlistEnded));
  log(ZRLogLevel::Trace, "step2:%@", request);
  if (const auto older = playlistRequest_.lock()) older->cancel();  // not the current one, which may be the thumbnail's
  start(request);
  playlistRequest_ = request;
}

// The encrypted playlist is deleted before its outcome is looked at: a retry downloads to the same path.
void ZRM3u8TaskRunner::playlistEnded(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) return throwErr(*response.err());
  const ZRDecryptionHandler decrypt = ZRDownloadManager::sharedManager()->decryptionHandler();
  if (!decrypt) return;
  const std::string contentPath = netM3U8FilePath();
  const auto decrypted = [weak = weak(), contentPath](const auto& reply, const auto& error) {
    std::error_code ignored;
    std::filesystem::remove(contentPath, ignored);
    const auto self = weak.lock();
    if (self && self->isAwaitingPlaylist()) self->afterDecryption(reply.value_or(ZRDictionary()), error);
  };
  decrypt({{"contentPath", contentPath}, {"localPath", _localFullM3U8FilePath()}}, ZRHostReply(decrypted));
}

// `currentSegment` stays: a playlist that is fetched again goes on where the one before ended.
void ZRM3u8TaskRunner::afterDecryption(const ZRDictionary& reply, const std::optional<ZRError>& error) {
  if (error) return decryptionFailed(*error);
  const std::vector<std::string> urls = segmentUrls(reply);
  totalSegment_ = static_cast<std::int64_t>(urls.size());
  log(ZRLogLevel::Event, "store ts(%ld)(%ld-%ld)", totalSegment_, aid(), vid());
  updateAllTsURL(urls);
  stamp_ = ZRClock::secondsSince1970();
  syncStateToDB();
  executePhase(ZRM3u8Phase::PhaseDownloadSegments);
}

void ZRM3u8TaskRunner::decryptionFailed(const ZRError& error) {
  if (!spendRetry()) {
    return throwErr(unusableError("m3u8文件解密失败", kZRReasonPlaylistDecryption)
                        .with(kZRErrorCauseKey, error.localizedDescription()));
  }
  log(ZRLogLevel::Failure, "decodeError:%@", error);
  if (!hasRetryTimes()) setPhase(ZRM3u8Phase::PhaseLoadVideoInfo);
  _executeNextPhase();
}

void ZRM3u8TaskRunner::handleCannotFindM3u8URLErr() {
  if (!spendRetry()) return throwErr(unusableError("找不到M3U8地址", kZRReasonNoPlaylistAddress));
  log(ZRLogLevel::Event, "roll back setp 1.");
  executePhase(ZRM3u8Phase::PhaseLoadVideoInfo);
}

void ZRM3u8TaskRunner::downloadMp4() {
  if (!hasEnoughDiskSpace()) return throwErr(SCFailure::diskFull());
  const std::string* const url = videoInfo_ ? usable(videoInfo_->mp4Url()) : nullptr;
  if (url == nullptr) return handleCannotFindM3u8URLErr();
  downloadFile(*url, mp4VideoSavePath(), &ZRM3u8TaskRunner::finishDownloadTS);
}

// Nothing waits for the thumbnail, and its failure changes nothing.
void ZRM3u8TaskRunner::downloadThumImgFile() {
  const std::string* const url = isExecuting() && videoInfo_ ? usable(videoInfo_->tvPreviewPic()) : nullptr;
  if (url == nullptr) return;
  const std::string path = thumbImgPath();
  if (ZRPath::exists(path)) return;
  const auto request = ZRRequests::makeDownload(*url, path);
  log(ZRLogLevel::Event, "downloadThumImg:%@", request);
  cancelCurrentReq();
  start(request);
}

// The segments. Client and server take turns, so the time between two of them counts in full.

void ZRM3u8TaskRunner::goOnWithSegments() {
  const bool areKnown = std::exchange(filesAreKnown_, true);
  if (areKnown || !rewindToWholeSegments()) return downloadNextTS();
  updateAllTsURL({});
  executePhase(ZRM3u8Phase::PhaseFetchPlaylist);
}

void ZRM3u8TaskRunner::downloadNextTS() {
  if (!isExecuting()) return;
  syncStateToDB();
  requestNextTS();
}

void ZRM3u8TaskRunner::requestNextTS() {
  if (!isExecuting()) return;
  if (currentSegment_ >= totalSegment_) return finishDownloadTS();
  if (!hasEnoughDiskSpace()) return throwErr(SCFailure::diskFull());
  const std::optional<std::string> url = currentTSURL();
  if (!url) return handleCannotFindTSURLErr();
  log(ZRLogLevel::Event, "ts:%ld/%ld;%ld-%ld-%d", currentSegment_, totalSegment_, aid(), vid(), version());
  requestSegment(*url);
}

std::optional<std::string> ZRM3u8TaskRunner::currentTSURL() const {
  std::optional<std::string> url = queryCurrentDownloadSegmentUrl();
  if (usable(url) == nullptr) {
    log(ZRLogLevel::Failure, "query ts url is nil！");
    return std::nullopt;
  }
  if (ZRM3u8Rules::areAddressesExpired(stamp_, ZRClock::secondsSince1970())) {
    log(ZRLogLevel::Event, "beyond the ts lift.");
    return std::nullopt;
  }
  return url;
}

void ZRM3u8TaskRunner::requestSegment(const std::string& url) {
  segmentPath_ = currentDownloadSegmentPath();
  const auto request = ZRRequests::makeDownload(url, segmentPath_);
  request->setProgressHandler(counting(
      [](ZRM3u8TaskRunner& self, std::uint64_t received, std::uint64_t) { self.currentSegmentBytes_ = received; }));
  request->setResponseHandler(whileExecuting(&ZRM3u8TaskRunner::segmentEnded));
  segmentStart_ = ZRClock::secondsSince1970();
  currentSegmentBytes_ = 0;
  cancelCurrentReq();  // a task that is resumed while it executes must not fetch twice
  start(request);
}

void ZRM3u8TaskRunner::segmentEnded(const SCNetworkApiResponseProtocol& response) {
  if (response.err()) return throwErr(*response.err());
  if (validateCurrentDownloadSegment()) return segmentCompleted();
  if (!spendRetry()) return throwErr(unusableError("TS文件校验失败", kZRReasonSegmentCheck));
  downloadNextTS();
}

void ZRM3u8TaskRunner::segmentCompleted() {
  log(ZRLogLevel::Trace, "ts:%ld/%ld use %0.2f s;", currentSegment_, totalSegment_,
      ZRClock::secondsSince1970() - segmentStart_);
  resetRetryTimes();
  const std::int64_t completed = currentSegment_++;
  allDownloadedSegmentsBytes_ += currentSegmentBytes_;
  currentSegmentBytes_ = 0;  // at once, not with the next request: until then the progress would count it twice
  deleteTSSQLWithIdx(completed);
  requestNextTS();
}

void ZRM3u8TaskRunner::handleCannotFindTSURLErr() {
  if (!spendRetry()) return throwErr(unusableError("找不到TS地址", kZRReasonNoSegmentAddress));
  log(ZRLogLevel::Event, "roll back setp 2.");
  executePhase(ZRM3u8Phase::PhaseFetchPlaylist);
}
