#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// A lock that threads get in the order in which they asked for it. Any thread.
class ZRTicketLock final {
 public:
  void lock() {
    std::unique_lock guard(mutex_);
    const std::uint64_t ticket = issued_++;
    changed_.wait(guard, [this, ticket] { return served_ == ticket; });
  }

  void unlock() {
    {
      const std::lock_guard guard(mutex_);
      ++served_;
    }
    changed_.notify_all();
  }

  /// Threads that hold the lock or wait for it.
  std::uint64_t asking() {
    const std::lock_guard guard(mutex_);
    return issued_ - served_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t issued_ = 0;
  std::uint64_t served_ = 0;
};
