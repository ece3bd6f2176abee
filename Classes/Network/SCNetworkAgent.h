#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "SCNetworkBaseApi.h"
#include "SCNetworkDownloadApi.h"

/// What the agent allows a request. Set once, when the agent is made.
struct SCNetworkLimits {
  std::chrono::milliseconds connectTimeout = std::chrono::seconds(15);
  std::chrono::milliseconds stallTimeout = std::chrono::seconds(60);  ///< without a byte
  std::int64_t maxPlainBody = std::int64_t{16} << 20;                 ///< bytes of a body that is not a file
  int maxRedirects = 10;
};

/// The HTTP client of the library: runs requests side by side on one private thread, which also writes every file.
///
/// Owned by the manager and shared with its tasks. All calls, and all handlers, are on the main loop's thread; handlers
/// are posted to the loop that was `ZRRunLoop::main()` when the agent was made, in the order of the events. Connections
/// are kept alive between requests. Only http and https are spoken, also on a redirect; certificates are always
/// verified; no cookies are kept.
///
/// Destroying the agent drops its requests without calling their handlers and ends the thread, whatever a server does.
class SCNetworkAgent final {
 public:
  explicit SCNetworkAgent(SCNetworkLimits limits = {});
  ~SCNetworkAgent();
  SCNetworkAgent(const SCNetworkAgent&) = delete;
  SCNetworkAgent& operator=(const SCNetworkAgent&) = delete;

  /// Starts the request and returns at once; also a malformed one is reported through its `responseHandler`. Requests
  /// and cancellations reach the network in the order of the calls. A request is executed once: another call does
  /// nothing.
  void execApi(const std::shared_ptr<SCNetworkBaseApi>& request);

  /// What all downloads together may receive in a second, from now on; running downloads share it equally, plain
  /// requests do not count. 0 or less is no limit, as there is none at first.
  void setMaxBytesPerSecond(std::int64_t limit);

 private:
  class Core;
  std::shared_ptr<Core> core_;
};
