#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "ZRDefaultRunLoop.h"

using Seconds = std::chrono::duration<double>;

/// Processor seconds so far.
double processorSecondsOfProcess();
double processorSecondsOfThread();

/// Drives the default loop turn by turn, as a host with a loop of its own does, and notes the longest turn.
class MeasuredLoop final {
 public:
  MeasuredLoop() {
    ZRRunLoop::setMain(loop_);
    loop_->setWakeup([this] {
      const std::lock_guard lock(mutex_);
      woken_ = true;
      wake_.notify_one();
    });
  }

  /// Sleeps until something is due and does it.
  void turn();

  Seconds longest() const { return longest_; }
  long turns() const { return turns_; }

 private:
  void sleepUntilDue();

  std::shared_ptr<ZRDefaultRunLoop> loop_ = std::make_shared<ZRDefaultRunLoop>();
  std::mutex mutex_;
  std::condition_variable wake_;
  bool woken_ = false;
  Seconds longest_{0};
  long turns_ = 0;
};
