#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "ZRRunLoop.h"

/// A main loop whose clock moves only when a test moves it. The thread that makes it is the loop's thread, and the one
/// that drains and advances it; work may be posted from any.
class ManualRunLoop final : public ZRRunLoop {
 public:
  /// A new loop, already set as the library's main loop.
  static std::shared_ptr<ManualRunLoop> install() {
    auto loop = std::make_shared<ManualRunLoop>();
    setMain(loop);
    return loop;
  }

  void post(Work work) override { (void)postDelayed(Duration::zero(), std::move(work)); }

  DelayedId postDelayed(Duration delay, Work work) override {
    const std::lock_guard lock(mutex_);
    const Duration bounded = std::clamp(delay, Duration::zero(), Duration::max() - now_);
    waiting_.emplace(std::pair(now_ + bounded, ++lastId_), std::move(work));
    return lastId_;
  }

  void cancel(DelayedId id) override {
    decltype(waiting_)::node_type dropped;  // destroyed after the lock is released
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find_if(waiting_, [id](const auto& entry) { return entry.first.second == id; });
    if (found != waiting_.end()) dropped = waiting_.extract(found);
  }

  bool isLoopThread() const override { return thread_ == std::this_thread::get_id(); }

  /// Runs what is due now, and what that posts in turn, until nothing is.
  void drain() { advance(Duration::zero()); }

  /// Lets `duration` pass. Everything that falls due on the way runs in order, each at its own time, with what it posts
  /// in turn.
  void advance(Duration duration) {
    const Duration end = now_ + duration;
    for (Work work; takeNext(end, work); work = nullptr) work();
    const std::lock_guard lock(mutex_);
    now_ = std::max(now_, end);
  }

  /// How many delayed calls have neither run nor been cancelled.
  std::size_t pendingDelayed() const {
    const std::lock_guard lock(mutex_);
    const auto isLater = [this](const auto& entry) { return entry.first.first > now_; };
    return static_cast<std::size_t>(std::ranges::count_if(waiting_, isLater));
  }

 private:
  bool takeNext(Duration end, Work& work) {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty() || waiting_.begin()->first.first > end) return false;
    auto next = waiting_.extract(waiting_.begin());
    now_ = next.key().first;
    work = std::move(next.mapped());
    return true;
  }

  const std::thread::id thread_ = std::this_thread::get_id();

  // Any thread, under mutex_; the loop's own, which alone moves the clock, reads it without.
  mutable std::mutex mutex_;
  std::map<std::pair<Duration, DelayedId>, Work> waiting_;
  DelayedId lastId_ = 0;
  Duration now_{0};
};
