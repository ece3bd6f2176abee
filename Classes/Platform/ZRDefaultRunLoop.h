#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>

#include "ZRRunLoop.h"

/// A main loop that needs no toolkit: a queue and a heap of delayed calls.
///
/// A host either gives it a thread (`run`, `runUntil`) or drives it from a loop of its own: `setWakeup` tells when
/// there is something to do, `drain` does what is due, `timeUntilNext` says how long the host may sleep.
///
///     loop->setWakeup([fd] { eventfd_write(fd, 1); });
///     for (;;) {
///       poll(&fds, 1, millisecondsOr(-1, loop->timeUntilNext()));
///       loop->drain();
///     }
///
/// The loop's thread is the one that made it, until another one runs or drains it.
class ZR_EXPORT ZRDefaultRunLoop final : public ZRRunLoop {
 public:
  using Clock = std::chrono::steady_clock;  ///< of deadlines

  ZRDefaultRunLoop();
  ~ZRDefaultRunLoop() override;

  void post(Work work) override;
  DelayedId postDelayed(Duration delay, Work work) override;
  void cancel(DelayedId id) override;
  bool isLoopThread() const override;

  /// Runs until `stop` is called; sleeps while there is nothing to do.
  void run();

  /// Ends `run` or `runUntil` after the work in hand. Any thread; without a running loop it ends the next run.
  void stop();

  /// Runs until `predicate` holds, `deadline` has passed or `stop` is called. The predicate is asked after every piece
  /// of work. Returns whether it held at the end.
  bool runUntil(const std::function<bool()>& predicate, Clock::time_point deadline);

  /// Runs what is due now, not what that posts in turn, and returns without waiting.
  void drain();

  /// How long until something is due: zero when something is due now, nothing when only a post can change that.
  std::optional<Duration> timeUntilNext() const;

  /// Called from any thread, under no lock, when an idle loop gets something to do, and when the earliest deadline
  /// moves forward. It is edge-triggered: the host answers with one `drain`. It must not call into this loop.
  void setWakeup(Work wakeup);

 private:
  using Deadline = std::pair<Clock::time_point, DelayedId>;

  /// What is due when a turn begins: the work made until then, as far as its deadline has passed.
  struct Turn {
    Clock::time_point now;
    DelayedId lastId;
  };

  Turn beginTurn();
  bool runNext(const Turn& turn);
  bool takeNext(const Turn& turn, Work& work);
  void sleepUntilDue(Clock::time_point deadline);
  bool isStopped() const;

  // Any thread, under mutex_.
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::pair<DelayedId, Work>> ready_;
  std::map<Deadline, Work> delayed_;
  std::unordered_map<DelayedId, Clock::time_point> deadlines_;  // of what delayed_ holds
  DelayedId lastId_ = 0;                                        // counts posted and delayed work alike
  bool stopped_ = false;
  std::shared_ptr<const Work> wakeup_;
  std::thread::id thread_;
};
