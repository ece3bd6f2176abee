#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SCCurlChannel.h"
#include "SCCurlSweeper.h"
#include "SCDescriptorWait.h"
#include "SCNetworkAgent.h"
#include "SCOriginQueue.h"
#include "SCRateLimit.h"
#include "SCTransfer.h"
#include "SCTransferTicket.h"
#include "ZRHost.h"

/// Runs transfers side by side over libcurl. The agent's thread only, except for making, destroying and `wakeup`.
///
/// Every request is HTTP/1.1: nothing here gains from multiplexing, and libcurl 7.88 lets parallel streams of HTTP/2
/// stall until its connect timer. The certificates of the authorities are loaded once. Plain requests are sent in turn
/// (`SCOriginQueue`), downloads share a limit (`SCRateLimit`), and where the process has no descriptor left, requests
/// wait (`SCDescriptorWait`).
class SCCurlLoop final {
 public:
  /// Proxy, authorities and user agent are the host's. `limits` outlive the loop.
  SCCurlLoop(const SCNetworkLimits& limits, const ZRHostInfo& host);
  ~SCCurlLoop();
  SCCurlLoop(const SCCurlLoop&) = delete;
  SCCurlLoop& operator=(const SCCurlLoop&) = delete;

  /// Begins the transfer and sends its first exchange with the next `run`; a plain request, which names its `origin`,
  /// when it is its turn.
  void start(std::unique_ptr<SCTransfer> transfer, const std::string& origin);

  /// Ends the transfer of that ticket, if it is still there.
  void cancel(const SCTransferTicket& ticket);

  /// Ends every transfer as a cancellation does. Their memory goes with the loop.
  void abandonAll();

  /// What all downloads together may receive in a second; 0 is no limit. Counts at once, also for those that run.
  void setMaxBytesPerSecond(std::int64_t limit) { rateLimit_.setMaxBytesPerSecond(limit); }

  /// Does what can be done without waiting. True when the last transfer there was has ended.
  bool run();

  /// Waits until `run` has something to do, or `wakeup` is called.
  void wait();

  /// Ends the `wait` that is on, or the next one. Any thread.
  void wakeup();

 private:
  using Clock = SCTransfer::Clock;

  void begin(std::unique_ptr<SCTransfer> transfer, const std::string& origin);
  bool open(std::unique_ptr<SCTransfer>& transfer, const std::string& origin);
  std::unique_ptr<SCCurlChannel> takeChannel();
  bool send(SCCurlChannel& channel, const SCTransfer::Exchange& exchange);
  void goOnWithShares();
  void finishDone();
  void ended(SCCurlChannel& channel, int result);
  void finishLate();
  void retryDelayed();
  void finish(SCCurlChannel& channel, std::optional<SCURLErrorCode> failure);
  void detach(const SCCurlChannel& channel);
  void release(SCCurlChannel& channel);

  struct Closer {
    void operator()(void* multi) const noexcept;
  };

  // Set once.
  const SCNetworkLimits& limits_;
  const ZRHostInfo host_;
  const std::unique_ptr<void, Closer> multi_;  // libcurl's (a CURLM)
  const bool wakes_;                           // false when descriptors lacked for what `wakeup` needs

  Clock::time_point now_;  // when this round began
  SCOriginQueue<SCTransfer> queue_;
  SCRateLimit rateLimit_;
  SCDescriptorWait descriptorWait_;
  SCCurlSweeper sweeper_;
  std::vector<std::unique_ptr<SCCurlChannel>> active_;
  std::vector<std::unique_ptr<SCCurlChannel>> idle_;
};
