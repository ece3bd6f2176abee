#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SCAddress.h"
#include "SCAnswerHead.h"
#include "SCDownloadFile.h"
#include "SCNetworkAgent.h"
#include "SCRangeDecision.h"
#include "SCTransferSpec.h"
#include "SCTransferTicket.h"
#include "ZRBackgroundQueue.h"

/// One request from its start to its `responseHandler`: what to send, what to make of the answer, when to give up. One
/// or more exchanges follow each other: a redirect, a start over or a body that is a piece asks for another one.
///
/// It knows no HTTP client: who drives it tells what arrived and what time it is, and sends what it returns. The
/// agent's thread only.
class SCTransfer final {
 public:
  using Clock = std::chrono::steady_clock;

  /// What goes out in one exchange.
  struct Exchange {
    std::string address;
    std::vector<std::string> headers;
    bool allowsCompression = false;
  };

  /// `limits`, `pool` and `parsing`, on which large answers are parsed, outlive the transfer.
  SCTransfer(SCTransferSpec spec, std::shared_ptr<SCTransferTicket> ticket, const SCNetworkLimits& limits,
             SCBufferPool& pool, ZRBackgroundQueue& parsing);
  ~SCTransfer();
  SCTransfer(const SCTransfer&) = delete;
  SCTransfer& operator=(const SCTransfer&) = delete;

  const SCTransferTicket& ticket() const noexcept { return *ticket_; }

  /// The first exchange; nothing when the request has ended already.
  std::optional<Exchange> begin(Clock::time_point now);

  /// The exchange has a connection.
  void connected(Clock::time_point now);

  // False: nothing more of this exchange is of use, end it.
  [[nodiscard]] bool receiveHeadLine(std::string_view line, Clock::time_point now);
  [[nodiscard]] bool receiveBody(std::string_view bytes, Clock::time_point now);

  /// The body has to wait for a limit of ours: the time without a byte counts from when it goes on.
  void heldBack() { stallDeadline_ = Clock::time_point::max(); }

  /// When `tick` wants to be called.
  Clock::time_point nextDeadline() const;

  /// Writes what has waited long enough. Why the request must end now, or nothing.
  std::optional<SCURLErrorCode> tick(Clock::time_point now);

  /// The exchange is over, by `failure` or completely. The next one; nothing when the request has ended.
  std::optional<Exchange> exchangeEnded(std::optional<SCURLErrorCode> failure);

  /// Memory ran out in the middle: ends the request with an error.
  void giveUp() noexcept;

  /// The request was cancelled: lets go of the file and calls nothing.
  void abandon();

 private:
  /// What becomes of the answer in hand.
  enum class Fate {
    Unknown,   ///< its head has not arrived
    Collect,   ///< the body goes to the parser
    Store,     ///< the body goes to the file
    Complete,  ///< the file has everything already
    Fail,      ///< error_ tells why
    Again,     ///< another exchange follows
  };

  std::optional<Exchange> refuse(ZRError error);
  Exchange nextExchange();
  // Each tells whether the body is wanted.
  bool fail(ZRError error);
  bool refuseAnswer();
  bool askAgain();
  bool decide();
  bool decideRedirect();
  bool decidePlain();
  bool decideDownload();
  bool store(const SCRangeDecision& decision);

  bool collect(std::string_view bytes);
  bool storeBytes(std::string_view bytes);
  void addWritten();
  void postWritten(Clock::time_point now);

  void conclude(std::optional<SCURLErrorCode> failure);
  bool isPiece() const;
  void askForTheRest();
  void concludeFile();
  void endByParser();
  void end();

  // Set once.
  SCTransferSpec spec_;
  const std::shared_ptr<SCTransferTicket> ticket_;
  const SCNetworkLimits& limits_;
  ZRBackgroundQueue& parsing_;
  std::optional<SCDownloadFile> file_;
  Clock::time_point wholeDeadline_ = Clock::time_point::max();

  // The request so far.
  SCAddress address_;
  std::int64_t offset_ = 0;  // asked for by a range
  int redirects_ = 0;
  bool sendsCallerHeaders_ = true;
  std::int64_t reported_ = 0;   // file length that progress has told or holds
  bool holdsProgress_ = false;  // added and not posted
  Clock::time_point lastProgress_{};

  // The exchange in hand.
  SCAnswerHead head_;
  Fate fate_ = Fate::Unknown;
  std::optional<ZRError> error_;
  std::optional<std::int64_t> completeLength_;  // of the file
  std::optional<std::int64_t> bodyEnd_;         // the file's length when this body is stored
  std::string body_;
  std::int64_t bodySize_ = 0;
  Clock::time_point stallDeadline_ = Clock::time_point::max();
  Clock::time_point flushDeadline_ = Clock::time_point::max();
};
