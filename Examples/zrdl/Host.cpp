#include "Host.h"

#include <utility>

namespace zrdl {
namespace {

void introduceHost(const Options& options) {
  ZRHostInfo info = ZRHostInfo::defaults();
  info.applicationSupportFolder = options.support;
  info.moviesFolder = options.movies;
  info.bundleIdentifier = options.bundleId;
  info.shortVersion = options.appVersion;
  ZRHost::setCurrent(std::move(info));
}

}  // namespace

Host::Host(const Options& options, Mp4Metadata metadata, Reporter& reporter)
    : metadata_(std::move(metadata)), reporter_(reporter), loop_(std::make_shared<ZRDefaultRunLoop>()) {
  ZRRunLoop::setMain(loop_);
  introduceHost(options);
  manager_ = ZRDownloadManager::sharedManager();
  ZRDictionary setup = callbacks();
  if (options.max) setup.set("max_concurrent_count", *options.max);
  manager_->setup(setup);
}

Host::~Host() {
  manager_.reset();
  ZRDownloadManager::shutdown();
}

ZRDictionary Host::callbacks() {
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
  return {{"fetch_73Info_Handler", fetchInfo}, {"logger_handler", logger}, {"cc_report_handler", report}};
}

/// Answers later, as a host does that asks its site. A video without metadata has no address, which is what the code
/// says: the task fails at once and leaves its slot to the next one.
void Host::answerMp4Info(const ZRDictionary& request, ZRReplyCompletion completion) {
  const std::int64_t vid = request["vid"].int64Value();
  const std::int32_t version = request["version"].int32Value();
  loop_->post([info = metadata_.find(vid, version), vid, version, completion = std::move(completion)] {
    if (info) return completion(info, std::nullopt);
    completion(std::nullopt, ZRError(ZRErrorCode::ResourceUnusable, "no metadata for " + mp4Key(vid, version)));
  });
}

void Host::takeLogRecord(const ZRDictionary& record) {
  const std::uint64_t level = record["level"].uint64Value();
  reporter_.log(level, record["tag"].textValue().value_or(""), record["msg"].textValue().value_or(""));
  if (level == kFailureLevel && failureListener_) failureListener_();
}

}  // namespace zrdl
