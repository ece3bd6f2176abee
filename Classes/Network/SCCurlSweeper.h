#pragma once

#include <chrono>
#include <memory>

/// Closes the connections that their servers have closed. libcurl looks for those only when it makes a new one, so
/// while transfers run this makes one now and then that goes nowhere. The agent's thread only.
class SCCurlSweeper final {
 public:
  using Clock = std::chrono::steady_clock;

  /// `multi`, libcurl's handle of the transfers (a CURLM), outlives the sweeper.
  explicit SCCurlSweeper(void* multi);
  ~SCCurlSweeper();
  SCCurlSweeper(const SCCurlSweeper&) = delete;
  SCCurlSweeper& operator=(const SCCurlSweeper&) = delete;

  /// When `sweepIfDue` wants to be called, as long as transfers run.
  Clock::time_point nextAt() const noexcept { return nextAt_; }
  void sweepIfDue(Clock::time_point now);

  /// libcurl has done with the sweep.
  void ended();

 private:
  struct Closer {
    void operator()(void* easy) const noexcept;
  };

  void* const multi_;
  const std::unique_ptr<void, Closer> easy_;
  Clock::time_point nextAt_{};
};
