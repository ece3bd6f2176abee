#include <chrono>
#include <numeric>
#include <variant>

#include "ZRDownloadManager.h"
#include "ZRDownloadTask.h"
#include "ZRHost.h"
#include "ZRRunLoop.h"
#include "ZRThreadCheck.h"
#include "ZRTimer.h"
#include "ZRVolume.h"
#include "ZRWeakProxy.h"

namespace {

constexpr std::chrono::seconds kSampleInterval{1};
constexpr std::size_t kMaxSamples = 3;
constexpr double kKiBPerByte = 0.0009765625;
constexpr std::uint64_t kBytesPerGB = 1'000'000'000;
constexpr std::uint64_t kMinFreeBytes = std::uint64_t{1} << 30;

}  // namespace

double ZRDownloadTask::currentDownloadSpeed() const {
  zrAssertLoopThread();
  if (speedSampleArr_.empty()) return 0;
  const std::int64_t bytes = std::accumulate(speedSampleArr_.begin(), speedSampleArr_.end(), std::int64_t{0});
  return static_cast<double>(bytes) * kKiBPerByte / static_cast<double>(speedSampleArr_.size());
}

void ZRDownloadTask::invokeCompletionNotifi() {
  zrAssertLoopThread();
  const CompletionNotifi notifi = completionNotifi_;  // the receiver may replace it
  if (notifi) notifi(shared_from_this());
}

void ZRDownloadTask::invokeErrorNotifi(const ZRError& error) {
  zrAssertLoopThread();
  lastFailure_ = error;
  const ErrorNotifi notifi = errorNotifi_;
  if (notifi) notifi(shared_from_this(), error);
}

std::int32_t ZRDownloadTask::reportedVersion() const {
  const std::optional<ZRDictionary> info = videoInfoDic();
  return info ? (*info)["version"].int32Value() : 0;
}

std::uint64_t ZRDownloadTask::getFreeDiskspace() const {
  const auto manager = ZRDownloadManager::sharedManager();
  const auto space = ZRVolume::at(ZRHost::current().homeFolder);
  if (const ZRError* const error = std::get_if<ZRError>(&space)) {
    manager->log(ZRLogLevel::Failure, nullptr, "Error Obtaining System Disk Info: Domain = %@, Code = %ld",
                 error->domain(), error->code());
    return 0;
  }
  const auto& sizes = std::get<ZRVolume>(space);
  manager->log(ZRLogLevel::Trace, nullptr, "Disk Capacity of %llu GB with %llu GB Free memory available.",
               sizes.total / kBytesPerGB, sizes.free / kBytesPerGB);
  return sizes.free;
}

bool ZRDownloadTask::hasEnoughDiskSpace() const {
  return getFreeDiskspace() > kMinFreeBytes;
}

void ZRDownloadTask::resetSpeedTimer() {
  const auto loop = ZRRunLoop::main();
  const auto proxy = ZRWeakProxy<ZRDownloadTask>::weakProxyWithTarget(weak_from_this());
  if (!loop->isLoopThread()) {
    loop->post(proxy.action(&ZRDownloadTask::resetSpeedTimer));
    return;
  }
  if (!speedTimer_) {
    speedTimer_ = std::make_unique<ZRTimer>(kSampleInterval, proxy.action(&ZRDownloadTask::calculateSpeed));
  }
  speedTimer_->rearm();
}

void ZRDownloadTask::invalidateSpeedTimer() {
  zrAssertLoopThread();
  if (speedTimer_) speedTimer_->park();
  speedSampleArr_.clear();
}

void ZRDownloadTask::calculateSpeed() {
  zrAssertLoopThread();
  speedSampleArr_.push_back(transferedPerSecond());
  if (speedSampleArr_.size() > kMaxSamples) speedSampleArr_.erase(speedSampleArr_.begin());
  setTransferedPerSecond(0);
}
