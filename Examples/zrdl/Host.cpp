#include "Host.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "ExitNotice.h"

namespace zrdl {
namespace {

void introduceHost(const Options& options) {
  ZRHostInfo info = ZRHostInfo::defaults();
  info.applicationSupportFolder = options.support;
  info.moviesFolder = options.movies;
  info.bundleIdentifier = options.bundleId;
  info.shortVersion = options.appVersion;
  info.videoInfoBaseURL = options.infoBase;
  ZRHost::setCurrent(std::move(info));
}

ZRDictionary cdnParameters(const Options& options) {
  ZRDictionary parameters;
  for (const auto& [name, value] : options.cdn) parameters.set(name, value);
  return parameters;
}

/// What the library is told when this host has no answer. By this code a task fails at once and leaves its slot to the
/// next one, if the library does not try again.
ZRError unusable(const std::string& reason) {
  return {ZRErrorCode::ResourceUnusable, reason};
}

ZRValue::List valuesOf(const std::vector<std::string>& texts) {
  return {texts.begin(), texts.end()};
}

}  // namespace

Host::Host(const Options& options, SiteAnswers answers, Reporter& reporter)
    : answers_(std::move(answers)), reporter_(reporter), loop_(std::make_shared<ZRDefaultRunLoop>()) {
  ZRRunLoop::setMain(loop_);
  introduceHost(options);
  manager_ = ZRDownloadManager::sharedManager();
  ZRDictionary setup = callbacks();
  if (!options.cdn.empty()) setup.set("m3u8_cdn_params", cdnParameters(options));
  if (options.max) setup.set("max_concurrent_count", *options.max);
  hasStore_ = failureOf([&] { manager_->setup(setup); }).empty();
  if (!hasStore_) tellWhyThereIsNoStore();
}

Host::~Host() {
  answers_.decryptor.reset();  // its threads answer the library
  manager_.reset();
  ZRDownloadManager::shutdown();
  explainSlowExit(RemovalFolders::current());
}

ZRDictionary Host::callbacks() {
  const ZRFetchMkeyHandler fetchKey = [this](const ZRDictionary&, ZRReplyCompletion completion) {
    answerPlaybackKey(std::move(completion));
  };
  const ZRDecryptionHandler decrypt = [this](const ZRDictionary& request, ZRReplyCompletion completion) {
    decryptPlaylist(request, std::move(completion));
  };
  const ZRFetch73InfoHandler fetchInfo = [this](const ZRDictionary& request, ZRReplyCompletion completion) {
    answerMp4Info(request, std::move(completion));
  };
  const ZRLoggerHandler logger = [this](const ZRDictionary& record, const ZRValue&) {
    if (loop_->isLoopThread()) return takeLogRecord(record);
    loop_->post([this, record] { takeLogRecord(record); });
  };
  const ZRReportHandler report = [this](const ZRDictionary& record, const ZRValue&) {
    reporter_.report(record["stype"].uint64Value(), record["version"].int32Value());
  };
  return {{"fetch_mky_handler", fetchKey},
          {"decryption_handler", decrypt},
          {"fetch_73Info_Handler", fetchInfo},
          {"logger_handler", logger},
          {"cc_report_handler", report}};
}

// All of them answer later, as a host does that asks its site.

void Host::answerPlaybackKey(ZRReplyCompletion completion) {
  loop_->post([key = answers_.playbackKey, completion = std::move(completion)] { completion(key, std::nullopt); });
}

void Host::decryptPlaylist(const ZRDictionary& request, ZRReplyCompletion completion) {
  const auto answer = [completion = std::move(completion)](const PlaylistDecryptor::Result& result) {
    if (const std::string* const reason = std::get_if<std::string>(&result)) {
      completion(std::nullopt, unusable(*reason));
    } else {
      completion(ZRDictionary{{"tsArr", valuesOf(std::get<std::vector<std::string>>(result))}}, std::nullopt);
    }
  };
  loop_->post([this, content = request["contentPath"].textValue().value_or(""),
               local = request["localPath"].textValue().value_or(""), answer] {
    if (answers_.decryptor) answers_.decryptor->decrypt(content, local, answer);
  });
}

void Host::answerMp4Info(const ZRDictionary& request, ZRReplyCompletion completion) {
  const std::int64_t vid = request["vid"].int64Value();
  const std::int32_t version = request["version"].int32Value();
  loop_->post([info = answers_.mp4.find(vid, version), vid, version, completion = std::move(completion)] {
    if (info) return completion(info, std::nullopt);
    completion(std::nullopt, unusable("no metadata for " + mp4Key(vid, version)));
  });
}

std::string Host::failureOf(const std::function<void()>& work) {
  std::string failure;
  std::string* const outer = std::exchange(expectedFailure_, &failure);
  work();
  expectedFailure_ = outer;
  return failure;
}

void Host::tellWhyThereIsNoStore() {
  const ZRHostInfo& host = ZRHost::current();
  const std::string file =
      std::filesystem::path(host.applicationSupportFolder) / host.bundleIdentifier / kDownloadDir / "zrdownloadkit.db";
  const int opened = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
  const int failure = opened < 0 ? errno : 0;
  if (opened >= 0) ::close(opened);
  std::string reason = "it is damaged or no database";
  if (failure != 0) reason = failure == ENOENT ? "it cannot be made" : std::strerror(failure);
  reporter_.note("cannot open " + file + ": " + reason);
}

void Host::takeLogRecord(const ZRDictionary& record) {
  const std::uint64_t level = record["level"].uint64Value();
  const std::string msg = record["msg"].textValue().value_or("");
  const bool isExpected = level == kFailureLevel && expectedFailure_ != nullptr;
  if (isExpected) *expectedFailure_ = msg;
  if (!isExpected || reporter_.wantsEveryRecord()) reporter_.log(level, record["tag"].textValue().value_or(""), msg);
  if (level == kFailureLevel && failureListener_) failureListener_();
}

}  // namespace zrdl
