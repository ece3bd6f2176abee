#include "Library.h"

#include <utility>

#include "ZRQtRunLoop.h"

namespace player {
namespace {

constexpr std::uint64_t kFailureLevel = 2;

}  // namespace

Library::Library(ZRHostInfo host, zrdl::SiteAnswers answers)
    : loop_(std::make_shared<ZRQtRunLoop>()), site_(std::move(answers), loop_) {
  ZRRunLoop::setMain(loop_);
  ZRHost::setCurrent(std::move(host));
  manager_ = ZRDownloadManager::sharedManager();
  ZRDictionary options = site_.options();
  options.set("logger_handler",
              ZRLoggerHandler([this](const ZRDictionary& record, const ZRValue&) { takeLogRecord(record); }));
  manager_->setup(options);
}

Library::~Library() {
  site_.stop();
  manager_.reset();
  ZRDownloadManager::shutdown();
}

void Library::takeLogRecord(const ZRDictionary& record) {
  if (record["level"].uint64Value() != kFailureLevel) return;
  loop_->post([this, alive = std::weak_ptr<bool>(alive_)] {
    if (!alive.expired() && failureListener_) failureListener_();
  });
}

}  // namespace player
