#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "SCTokenBucket.h"

/// What all downloads together may receive in a second, shared equally by those that run. libcurl's own limit would let
/// each new download receive a second's worth at once, and so many short ones whatever they like. Pure; one thread.
class SCRateLimit final {
 public:
  using Clock = SCTokenBucket::Clock;

  /// A running download's share, for as long as it runs. When another one goes, or the limit changes, those that wait
  /// ask again.
  class Share final {
   public:
    /// `limit` outlives the share.
    Share(SCRateLimit& limit, Clock::time_point now) : limit_(limit), bucket_(now) { limit_.shares_.push_back(this); }
    ~Share() {
      std::erase(limit_.shares_, this);
      limit_.askAgain();
    }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    /// Whether the bytes must wait; they are to be offered again at `goesOnAt`.
    bool holdsBack(std::size_t bytes, Clock::time_point now) {
      if (limit_.bytesPerSecond_ == 0 || bucket_.take(bytes, limit_.rateOfOne(), now)) return false;
      goesOnAt_ = bucket_.readyAt(bytes, limit_.rateOfOne());
      return true;
    }

    /// Never, while nothing waits.
    Clock::time_point goesOnAt() const noexcept { return goesOnAt_; }

    /// True once when what waits may go on.
    bool takeTurn(Clock::time_point now) noexcept {
      if (now < goesOnAt_) return false;
      goesOnAt_ = Clock::time_point::max();
      return true;
    }

   private:
    friend class SCRateLimit;

    SCRateLimit& limit_;
    SCTokenBucket bucket_;
    Clock::time_point goesOnAt_ = Clock::time_point::max();
  };

  /// 0 is no limit, as there is none at first. Counts at once.
  void setMaxBytesPerSecond(std::int64_t limit) {
    bytesPerSecond_ = limit;
    askAgain();
  }

 private:
  double rateOfOne() const noexcept {
    return static_cast<double>(bytesPerSecond_) / static_cast<double>(shares_.size());
  }

  void askAgain() noexcept {
    for (Share* const share : shares_) {
      if (share->goesOnAt_ != Clock::time_point::max()) share->goesOnAt_ = {};
    }
  }

  std::int64_t bytesPerSecond_ = 0;
  std::vector<Share*> shares_;
};
