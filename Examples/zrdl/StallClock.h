#pragma once

#include <chrono>

namespace zrdl {

/// Tells how long a task has been running without a sign of life.
class StallClock final {
 public:
  using Clock = std::chrono::steady_clock;

  /// What of a task can show that it lives.
  struct Sign {
    int state = 0;
    float progress = 0;
    bool receiving = false;  ///< bytes arrived lately
    bool queued = false;     ///< waits for a slot that a running task holds
    bool operator==(const Sign&) const = default;
  };

  explicit StallClock(Clock::time_point start) : lastLife_(start) {}

  /// Takes a look at the task.
  void observe(const Sign& sign, Clock::time_point now);

  /// How long there was no sign of life, at `now`.
  Clock::duration silence(Clock::time_point now) const { return now - lastLife_; }

 private:
  Sign last_;
  Clock::time_point lastLife_;
};

}  // namespace zrdl
