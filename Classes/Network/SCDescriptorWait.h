#pragma once

#include <chrono>
#include <deque>
#include <utility>

class SCCurlChannel;

/// Exchanges for which the process had no descriptor left, neither for a socket nor for a name's look-up. They wait
/// until another one has ended, or a moment, and are sent again: the one that has waited longest first. One thread.
class SCDescriptorWait final {
 public:
  using Clock = std::chrono::steady_clock;

  /// Whether an exchange failed for want of a descriptor. A failed look-up (`isLookUp`) does not tell why, so it counts
  /// as well when descriptors are short now or were a moment ago; a socket that was refused (`isRefused`) tells it.
  bool isReason(bool isRefused, bool isLookUp, Clock::time_point now);

  /// False when there is no memory to wait in.
  [[nodiscard]] bool enter(SCCurlChannel& channel, Clock::time_point now) noexcept;

  /// It ends otherwise.
  void remove(const SCCurlChannel& channel) noexcept;

  /// What has ended may have left a descriptor.
  void hurry() noexcept;

  /// The next one whose time has come; null when there is none.
  SCCurlChannel* takeDue(Clock::time_point now) noexcept;

  /// When `takeDue` wants to be called.
  Clock::time_point nextAt() const noexcept;

 private:
  std::deque<std::pair<SCCurlChannel*, Clock::time_point>> waiting_;  // the earliest first
  Clock::time_point lackedAt_{};                                      // the last time that a descriptor was missing
};
