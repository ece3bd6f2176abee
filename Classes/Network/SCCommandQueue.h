#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "SCTransferSpec.h"
#include "SCTransferTicket.h"

/// One order of the main loop's thread to the agent's thread.
struct SCCommand {
  std::shared_ptr<SCTransferTicket> ticket;
  std::unique_ptr<SCTransferSpec> spec;  ///< of a transfer to start; null cancels
};

/// Orders in the order in which they were given, and who has to be woken for them.
class SCCommandQueue final {
 public:
  /// True when the agent's thread sleeps and must be woken.
  [[nodiscard]] bool push(SCCommand command) {
    const std::lock_guard lock(mutex_);
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

  bool isEmpty() const {
    const std::lock_guard lock(mutex_);
    return commands_.empty() && !closed_;
  }

  bool isClosed() const {
    const std::lock_guard lock(mutex_);
    return closed_;
  }

  /// True when there is nothing to do, so that the next `push` wakes. The agent's thread, before it sleeps.
  [[nodiscard]] bool fallAsleep() {
    const std::lock_guard lock(mutex_);
    sleeping_ = commands_.empty() && !closed_;
    return sleeping_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<SCCommand> commands_;
  bool sleeping_ = false;
  bool closed_ = false;
};
