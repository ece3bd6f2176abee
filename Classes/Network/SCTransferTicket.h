#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "SCNetworkApiResponse.h"
#include "SCNetworkBaseApi.h"
#include "SCNetworkResponseParser.h"
#include "ZRRunLoop.h"

/// Who runs transfers, as a ticket sees it: the agent. Main loop's thread only.
class SCTicketOwner {
 public:
  virtual ~SCTicketOwner() = default;

  /// The request was cancelled; its transfer is to stop.
  virtual void ticketCancelled(const std::shared_ptr<SCTransferTicket>& ticket) = 0;

  /// The request's last handler is about to run.
  virtual void ticketDone(const std::shared_ptr<SCTransferTicket>& ticket) = 0;
};

/// What the main loop's thread and the agent's thread share about one request, from `execApi` until its
/// `responseHandler` has run. It keeps the request alive for so long, and carries every call of a handler to the loop.
class SCTransferTicket final : public std::enable_shared_from_this<SCTransferTicket> {
 public:
  /// `loop` outlives the agent's threads, which alone post. It is not held: work that waits in it holds the ticket.
  SCTransferTicket(std::shared_ptr<SCNetworkBaseApi> request, ZRRunLoop& loop, std::weak_ptr<SCTicketOwner> owner);
  ~SCTransferTicket();

  // Main loop's thread.

  /// No handler runs any more; does nothing when the last one has run already. Drops the handlers.
  void cancel();

  // The agent's thread, and the one that parses large answers.

  /// True from the moment of the cancellation on: no file is to be made or touched any more.
  bool isCancelled() const noexcept { return cancelled_; }

  /// Adds to the next call of the `progressHandler`.
  void addProgress(std::int64_t chunk, std::int64_t received, std::int64_t expected);

  /// Posts the call of the `progressHandler` that tells what was added, unless one is under way.
  void postProgress();

  /// Posts the end: what progress is left, then the `responseHandler`. Of two ends the first counts.
  void postEnd(std::optional<ZRError> error, SCParserResult result, int status);

  /// Posts an end for want of something that the process has no more of; `reason` names it. Nothing happens when there
  /// is no memory even for that. Any thread.
  void postWant(const char* reason) noexcept;

  /// Posts the release of something that may hold objects of the host.
  void postRelease(std::shared_ptr<const void> object);

 private:
  struct Progress {
    bool isDue = false;
    std::int64_t chunk = 0;
    std::int64_t received = 0;
    std::int64_t expected = 0;
  };

  void deliverProgress();
  void deliverEnd(const SCNetworkApiResponseProtocol& response);

  // Set once.
  ZRRunLoop& loop_;
  const std::weak_ptr<SCTicketOwner> owner_;

  // Main loop's thread. Null after the end or a cancellation.
  std::shared_ptr<SCNetworkBaseApi> request_;

  // Any thread.
  std::atomic<bool> cancelled_ = false;

  // Any thread, under mutex_.
  std::mutex mutex_;
  Progress progress_;
  bool progressPosted_ = false;
};
