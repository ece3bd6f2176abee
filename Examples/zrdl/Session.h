#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "Host.h"
#include "LabelledRequest.h"
#include "Reporter.h"
#include "StallClock.h"

namespace zrdl {

/// Runs tasks until none of them can go on: each is finished, errored, stalled or refused. Tells the reporter what
/// becomes of them. Main loop's thread only, but for `interrupt`.
class Session final {
 public:
  using Clock = StallClock::Clock;

  /// `giveUp` is how long a running task may be silent before it counts as stalled. Both parts must outlive this.
  Session(Host& host, Reporter& reporter, std::chrono::seconds giveUp);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Adds a new task to the store and to the run. Null when it was refused or the run has been interrupted.
  std::shared_ptr<ZRDownloadTask> add(const LabelledRequest& request);

  /// Takes stored unfinished tasks into the run.
  void start(const ZRTaskList& tasks);

  /// Runs, and returns the process's exit status.
  int run();

  /// Ends the run with every task paused. Any thread.
  void interrupt();
  bool isInterrupted() const noexcept { return interrupted_; }

 private:
  struct Entry {
    std::shared_ptr<ZRDownloadTask> task;
    StallClock clock;
  };

  bool isOver() const { return interrupted_ || open_.empty(); }
  std::nullptr_t refuse(Refusal reason, const LabelledRequest& request, const std::string& fault = "");
  void track(const std::shared_ptr<ZRDownloadTask>& task);

  /// Drops the task from the run; false when it is not part of it.
  bool untrack(const std::shared_ptr<ZRDownloadTask>& task);
  void taskFinished(const std::shared_ptr<ZRDownloadTask>& task);
  void taskFailed(const std::shared_ptr<ZRDownloadTask>& task);

  void pauseForLater();

  void scheduleTick();
  void tick();
  void settleErrored();
  void settleStalled(Clock::time_point now);
  void giveSlotBack(const std::shared_ptr<ZRDownloadTask>& task);
  void reportProgress(Clock::time_point now);

  Host& host_;
  Reporter& reporter_;
  const std::chrono::seconds giveUp_;
  const ZRNotificationCenter::Token finishedToken_;
  const ZRNotificationCenter::Token errorToken_;
  std::atomic<bool> interrupted_ = false;
  std::vector<Entry> open_;  // tasks that may still go on, in the order in which they were taken in
  Summary summary_;
  ZRRunLoop::DelayedId tick_ = 0;
  Clock::time_point lastProgress_;
};

}  // namespace zrdl
