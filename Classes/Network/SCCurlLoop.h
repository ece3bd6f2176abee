#pragma once

#include <memory>

#include "SCNetworkAgent.h"
#include "SCTransfer.h"
#include "SCTransferTicket.h"

/// Runs transfers side by side over libcurl, the only place that knows it. The agent's thread only, except for making,
/// destroying and `wakeup`.
class SCCurlLoop final {
 public:
  /// `limits` outlive the loop.
  explicit SCCurlLoop(const SCNetworkLimits& limits);
  ~SCCurlLoop();
  SCCurlLoop(const SCCurlLoop&) = delete;
  SCCurlLoop& operator=(const SCCurlLoop&) = delete;

  /// Begins the transfer and sends its first exchange with the next `run`.
  void start(std::unique_ptr<SCTransfer> transfer);

  /// Ends the transfer of that ticket, if it is still there.
  void cancel(const SCTransferTicket& ticket);

  /// Ends every transfer as a cancellation does. Their memory goes with the loop.
  void abandonAll();

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
