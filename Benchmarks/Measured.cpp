#include "Measured.h"

#include <algorithm>

#include <sys/resource.h>

namespace {

using Clock = std::chrono::steady_clock;

double processorSeconds(int who) {
  rusage usage{};
  ::getrusage(who, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

double processorSecondsOfProcess() {
  return processorSeconds(RUSAGE_SELF);
}

double processorSecondsOfThread() {
  return processorSeconds(RUSAGE_THREAD);
}

void MeasuredLoop::turn() {
  sleepUntilDue();
  const auto start = Clock::now();
  loop_->drain();
  longest_ = std::max(longest_, Seconds(Clock::now() - start));
  ++turns_;
}

void MeasuredLoop::sleepUntilDue() {
  const auto next = loop_->timeUntilNext();
  std::unique_lock lock(mutex_);
  const auto woken = [this] { return woken_; };
  if (next) {
    wake_.wait_for(lock, *next, woken);
  } else {
    wake_.wait(lock, woken);
  }
  woken_ = false;
}
