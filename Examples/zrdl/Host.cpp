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
  info.videoInfoBaseURL = options.site.infoBase;
  info.proxy = options.proxy;
  info.caFile = options.caFile;
  info.userAgent = options.userAgent;
  ZRHost::setCurrent(std::move(info));
}

ZRDictionary cdnParameters(const Options& options) {
  ZRDictionary parameters;
  for (const auto& [name, value] : options.cdn) parameters.set(name, value);
  return parameters;
}

}  // namespace

Host::Host(const Options& options, site::Answers answers, Reporter& reporter)
    : reporter_(reporter), loop_(std::make_shared<ZRDefaultRunLoop>()), site_(std::move(answers), loop_) {
  ZRRunLoop::setMain(loop_);
  introduceHost(options);
  manager_ = ZRDownloadManager::sharedManager();
  ZRDictionary setup = callbacks();
  if (!options.cdn.empty()) setup.set("m3u8_cdn_params", cdnParameters(options));
  if (options.max) setup.set("max_concurrent_count", *options.max);
  setup.set("max_bytes_per_second", options.limitRate);
  if (!reporter.wantsEveryRecord()) setup.set("logger_level", kFailureLevel);
  hasStore_ = failureOf([&] { manager_->setup(setup); }).empty();
  if (!hasStore_) tellWhyThereIsNoStore();
}

Host::~Host() {
  site_.stop();
  manager_.reset();
  ZRDownloadManager::shutdown();
  explainSlowExit(RemovalFolders::current());
}

ZRDictionary Host::callbacks() {
  ZRDictionary options = site_.options();
  options.set("logger_handler", ZRLoggerHandler([this](const ZRDictionary& record, const ZRValue&) {
                if (loop_->isLoopThread()) return takeLogRecord(record);
                loop_->post([this, record] { takeLogRecord(record); });
              }));
  options.set("cc_report_handler", ZRReportHandler([this](const ZRDictionary& record, const ZRValue&) {
                reporter_.report(record["stype"].uint64Value(), record["version"].int32Value());
              }));
  return options;
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
}

}  // namespace zrdl
