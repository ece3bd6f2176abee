#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "SCTransferSpec.h"
#include "SCTransferTicket.h"

/// One order of the main loop's thread to the agent's thread.
struct SCCommand {
  std::shared_ptr<SCTransferTicket> ticket;  ///< null when the order is a limit
  std::unique_ptr<SCTransferSpec> spec;      ///< of a transfer to start; null cancels
  std::int64_t maxBytesPerSecond = 0;        ///< without a ticket
};

/// Orders in the order in which they were given, and who has to be woken for them.
class SCCommandQueue final {
 public:
  /// True when the agent's thread sleeps and must be woken.
  [[nodiscard]] bool push(SCCommand command) {
    const std::lock_guard lock(mutex_);
    if (command.spec) followsFast_ = Clock::now() - endedAt_ <= kNextRequest;
    commands_.push_back(std::move(command));
    return std::exchange(sleeping_, false);
  }

  /// Asks the agent's thread to end. True as for `push`.
  [[nodiscard]] bool close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    return std::exchange(sleeping_, false);
  }

  /// What came in since the last call. The agent's thread.
  std::vector<SCCommand> takeAll() {
    const std::lock_guard lock(mutex_);
    sleeping_ = false;
    return std::exchange(commands_, {});
  }

  bool isClosed() const {
    const std::lock_guard lock(mutex_);
    return closed_;
  }

  /// The last request there was has ended. A task answers that with its next one, soon: where the last request came
  /// that fast too, the thread waits awake for the next one, so that it need not wait until a thread has woken.
  void awaitNext() {
    const Clock::time_point deadline = Clock::now() + kNextRequest;
    while (isQuiet(deadline - kNextRequest) && Clock::now() < deadline) std::this_thread::yield();
  }

  /// True when there is nothing to do, so that the next `push` wakes. The agent's thread, before it sleeps.
  [[nodiscard]] bool fallAsleep() {
    const std::lock_guard lock(mutex_);
    sleeping_ = commands_.empty() && !closed_;
    return sleeping_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  /// How long the thread stays awake for the next request.
  static constexpr std::chrono::microseconds kNextRequest{200};

  /// Whether a request is to be expected and none is there.
  bool isQuiet(Clock::time_point endedAt) {
    const std::lock_guard lock(mutex_);
    endedAt_ = endedAt;
    return followsFast_ && commands_.empty() && !closed_;
  }

  mutable std::mutex mutex_;
  std::vector<SCCommand> commands_;
  Clock::time_point endedAt_{};  // the last request that left none behind
  bool followsFast_ = false;     // the next one came at once
  bool sleeping_ = false;
  bool closed_ = false;
};
