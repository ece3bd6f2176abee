#include "ZRRequestSlot.h"

#include <chrono>
#include <utility>

#include "SCNetworkAgent.h"

namespace {

constexpr std::chrono::seconds kRetryDelay{1};

}  // namespace

ZRRequestSlot::~ZRRequestSlot() {
  dropRetry();
}

void ZRRequestSlot::start(const std::shared_ptr<SCNetworkAgent>& agent,
                          const std::shared_ptr<SCNetworkBaseApi>& request) {
  if (!agent) return;
  agent->execApi(request);
  currentReq_ = request;
}

void ZRRequestSlot::cancelCurrent() {
  if (const auto request = currentReq_.lock()) request->cancel();
  currentReq_.reset();
}

std::optional<std::string> ZRRequestSlot::currentUrlString() const {
  const auto request = currentReq_.lock();
  return request ? std::optional(request->urlString()) : std::nullopt;
}

void ZRRequestSlot::retryLater(std::function<void()> delyRetryBlock) {
  dropRetry();
  retryLoop_ = ZRRunLoop::main();
  pendingRetry_ = retryLoop_->postDelayed(kRetryDelay, std::move(delyRetryBlock));
}

void ZRRequestSlot::dropRetry() {
  if (pendingRetry_ != 0) retryLoop_->cancel(std::exchange(pendingRetry_, 0));
}
