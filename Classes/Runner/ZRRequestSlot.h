#pragma once

#include <functional>
#include <memory>
#include <string>

#include "SCNetworkBaseApi.h"
#include "ZRRunLoop.h"

class SCNetworkAgent;

/// What a task has under way, so that one call can stop it: the current request, which is not owned and disappears when
/// it has ended, and a pending delayed retry. Main loop's thread only.
class ZRRequestSlot final {
 public:
  ZRRequestSlot() = default;
  ~ZRRequestSlot();
  ZRRequestSlot(const ZRRequestSlot&) = delete;
  ZRRequestSlot& operator=(const ZRRequestSlot&) = delete;

  /// Executes the request and makes it the current one; the one before goes on. Without an agent nothing happens.
  void start(const std::shared_ptr<SCNetworkAgent>& agent, const std::shared_ptr<SCNetworkBaseApi>& request);

  /// Cancels and forgets the current request.
  void cancelCurrent();

  /// The current request's address; nothing when there is none.
  std::optional<std::string> currentUrlString() const;

  /// Calls `delyRetryBlock` once, a second from now, unless it is dropped or replaced before.
  void retryLater(std::function<void()> delyRetryBlock);
  void dropRetry();

 private:
  std::weak_ptr<SCNetworkBaseApi> currentReq_;
  std::shared_ptr<ZRRunLoop> retryLoop_;  // the loop of the pending retry
  ZRRunLoop::DelayedId pendingRetry_ = 0;
};
