#pragma once

#include <chrono>
#include <functional>
#include <memory>

/// A repeating timer on the main loop that can be parked and set going again. Main loop's thread only.
///
/// The action must not keep its target alive: make it with `ZRWeakProxy`. A parked timer holds nothing in the loop, so
/// an idle library wakes nothing. Destroying the timer ends it.
class ZRTimer {
 public:
  /// A parked timer.
  ZRTimer(std::chrono::nanoseconds interval, std::function<void()> action);
  ~ZRTimer();
  ZRTimer(const ZRTimer&) = delete;
  ZRTimer& operator=(const ZRTimer&) = delete;

  /// Fires one interval from now, and then every interval.
  void rearm();

  /// Stops firing until the next `rearm`.
  void park();

  /// Whether it takes a `rearm` to fire again.
  bool isParked() const noexcept;

 private:
  struct State;
  std::shared_ptr<State> state_;  // outlived by nothing: the loop holds it weakly
};
