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
/// there is something to do, `drain` does what is due, `pollTimeout` or `timeUntilNext` says how long the host may
/// sleep.
///
///     const int wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
///     loop->setWakeup([wake] { eventfd_write(wake, 1); });
///     while (!done) {
///       pollfd fds[] = {{wake, POLLIN, 0}};  // and what else the host listens to
///       poll(fds, 1, loop->pollTimeout());
///       eventfd_t wakeups = 0;
///       eventfd_read(wake, &wakeups);
///       loop->drain();
///     }
///
/// What such a host can rely on:
/// - Nothing is missed by one that asks for the time-out after it has set the wakeup, and again after every `drain`.
/// - A needless `drain` does nothing; nothing ever runs before its time.
/// - One `drain` does a bounded turn, so the host's own events are not starved: what a turn posts is for the next one.
///   That makes no wakeup while the turn still has work; the time-out is 0 then.
/// - Work may run a loop of the host's inside itself, which goes on with the turn in hand.
///
/// `ZRQtRunLoop` and `ZRGLibRunLoop` drive it so. The loop's thread is the one that made it, until another one runs or
/// drains it. Work must not destroy the loop that runs it. What has not started by the end is dropped.
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

  /// How long until something is due: zero when something is due now, nothing when only a post can change that. Any
  /// thread.
  std::optional<Duration> timeUntilNext() const;

  /// The same in whole milliseconds, as poll() and its kin take it: rounded up, a day at most, -1 for nothing.
  int pollTimeout() const;

  /// Sets what is called when an idle loop gets something to do, and when the earliest deadline moves forward; what is
  /// there already makes no call. Edge-triggered: the host answers with one `drain`, at once or later.
  ///
  /// It is called inside `post` and `postDelayed`, so on any thread, on several at once and on the loop's own, but
  /// under no lock. It must not block and must not call into this loop; a write to an eventfd, or a toolkit's own way
  /// to wake its loop, is what it is for. An empty one ends the calls, but for one that another thread is in already.
  void setWakeup(Work wakeup);

  /// Drops everything that has not started; what that holds may call back. Any thread.
  void clear();

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
  void waitUntilDue(Clock::time_point deadline);
  Clock::time_point nextDue(Clock::time_point deadline) const;
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
