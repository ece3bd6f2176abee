#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "SCNetworkAgent.h"
#include "SCTransfer.h"
#include "SCTransferTicket.h"
#include "ZRHost.h"

/// Runs transfers side by side over libcurl, the only place that knows it. The agent's thread only, except for making,
/// destroying and `wakeup`.
///
/// Every request is HTTP/1.1: nothing here gains from multiplexing, and libcurl 7.88 lets parallel streams of HTTP/2
/// stall until its connect timer. The certificates of the authorities are loaded once. Plain requests are sent in turn
/// (`SCOriginQueue`). Under a limit each running download has an equal share (`SCTokenBucket`); libcurl's own limit
/// would let each new download receive a second's worth at once, and so many short ones whatever they like. When the
/// process has no descriptor left for a socket or a name's look-up, a request waits until another one has ended, or a
/// moment.
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
  void setMaxBytesPerSecond(std::int64_t limit);

  /// Does what can be done without waiting. True when the last transfer there was has ended.
  bool run();

  /// Waits until `run` has something to do, or `wakeup` is called.
  void wait();

  /// Ends the `wait` that is on, or the next one. Any thread.
  void wakeup();

 private:
  class Multi;
  std::unique_ptr<Multi> multi_;
};
