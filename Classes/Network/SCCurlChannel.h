#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SCNetworkAgent.h"
#include "SCRateLimit.h"
#include "SCTransfer.h"
#include "ZRHost.h"

/// One transfer's end of libcurl: a handle that is configured once and used again for later transfers. What arrives it
/// hands to the transfer; memory that runs out ends the transfer, but neither libcurl nor the host. The agent's thread
/// only.
class SCCurlChannel final {
 public:
  using Clock = SCTransfer::Clock;

  /// `now` is the loop's time, which outlives the channel.
  SCCurlChannel(const SCNetworkLimits& limits, const ZRHostInfo& host, const Clock::time_point& now);
  ~SCCurlChannel();
  SCCurlChannel(const SCCurlChannel&) = delete;
  SCCurlChannel& operator=(const SCCurlChannel&) = delete;

  /// Takes the transfer over: a plain request of `origin`, or, where that is empty, a download with a share of `limit`.
  /// May throw for want of memory, and takes nothing then.
  void occupy(std::unique_ptr<SCTransfer>&& transfer, const std::string& origin, SCRateLimit& limit);

  /// Makes way for the next transfer. The origin of a plain request, else an empty text.
  std::string vacate();

  SCTransfer& transfer() noexcept { return *transfer_; }

  /// libcurl's handle (a CURL), and whose it is; null for a handle that belongs to no channel.
  void* easy() const noexcept { return easy_.get(); }
  static SCCurlChannel* of(void* easy);

  /// Sets what differs from exchange to exchange. False without memory.
  [[nodiscard]] bool prepare(const SCTransfer::Exchange& exchange);

  /// The exchange that was prepared is sent once more.
  void prepareAgain() noexcept { lacksDescriptor_ = false; }

  /// True when this exchange was refused a socket because the process had no descriptor left.
  bool lacksDescriptor() const noexcept { return lacksDescriptor_; }

  /// What the exchange's result (a CURLcode) means; nothing for a success.
  std::optional<SCURLErrorCode> failureOf(int result) const;

  /// When the channel has something to do even if nothing arrives.
  Clock::time_point nextDeadline() const;

  /// Lets a download go on that waits for its share, when it may. False when its exchange has failed of that.
  [[nodiscard]] bool goOnIfDue();

  /// Why an exchange ends that libcurl would not end.
  struct LateEnd {
    std::optional<SCURLErrorCode> failure;
  };
  std::optional<LateEnd> tick();

  /// Tells the transfer of the end of an exchange. The next one; nothing when the transfer has ended.
  std::optional<SCTransfer::Exchange> exchangeEnded(std::optional<SCURLErrorCode> failure);

 private:
  struct Callbacks;
  struct EasyCloser {
    void operator()(void* easy) const noexcept;
  };
  struct ListCloser {
    void operator()(void* list) const noexcept;
  };
  using List = std::unique_ptr<void, ListCloser>;

  static List listOf(const std::vector<std::string>& lines);
  void configure(const SCNetworkLimits& limits);
  void introduce(const ZRHostInfo& host);
  template <class Work>
  bool spared(Work work);

  const Clock::time_point& now_;
  std::unique_ptr<SCTransfer> transfer_;
  std::string origin_;                       // of a plain request
  std::optional<SCRateLimit::Share> share_;  // of a download
  bool lacksDescriptor_ = false;             // seen in this exchange
  bool lacksMemory_ = false;
  std::string errorText_;  // libcurl's buffer
  List headers_;
  std::unique_ptr<void, EasyCloser> easy_;  // goes before what it points to
};
