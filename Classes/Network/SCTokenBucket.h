#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

/// How many bytes of one download may pass when a rate is set: what the rate gives since the start, less what has
/// passed. It starts empty, so that many short downloads in a row keep to the rate as one long one does. What was not
/// used is kept for a moment only. Pure: it is told the time, and the rate may be another one with each call.
class SCTokenBucket final {
 public:
  using Clock = std::chrono::steady_clock;

  explicit SCTokenBucket(Clock::time_point now) noexcept : filledAt_(now) {}

  /// True when `bytes` may pass now; they are taken out.
  bool take(std::size_t bytes, double bytesPerSecond, Clock::time_point now) noexcept {
    const auto wanted = static_cast<double>(bytes);
    const double capacity = std::max(wanted, bytesPerSecond * std::chrono::duration<double>(kKept).count());
    const double seconds = std::chrono::duration<double>(now - filledAt_).count();
    held_ = std::min(capacity, held_ + std::max(seconds, 0.0) * bytesPerSecond);
    filledAt_ = now;
    if (held_ < wanted) return false;
    held_ -= wanted;
    return true;
  }

  /// When `bytes` may pass at that rate, after `take` refused them.
  Clock::time_point readyAt(std::size_t bytes, double bytesPerSecond) const noexcept {
    const std::chrono::duration<double> missing((static_cast<double>(bytes) - held_) / bytesPerSecond);
    return filledAt_ + std::chrono::ceil<std::chrono::microseconds>(std::min(missing, kLongest));
  }

 private:
  static constexpr std::chrono::milliseconds kKept{100};
  static constexpr std::chrono::duration<double> kLongest{3600};  // of a wait, whatever the rate

  double held_ = 0;
  Clock::time_point filledAt_;
};
