#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "ZRTestExport.h"

/// Slow file work off the main thread: one thread that starts with the first piece of work and leaves signals to the
/// host. At process exit the work still queued is done before the thread is joined.
class ZR_TEST_EXPORT ZRBackgroundQueue {
 public:
  enum class Priority { Low, Normal };

  /// For what nobody waits for: deleting folders.
  static ZRBackgroundQueue& shared();

  /// For what a task's end waits for: bringing files to the disk. Deleting a large folder must not hold that up.
  static ZRBackgroundQueue& disk();

  explicit ZRBackgroundQueue(Priority priority = Priority::Low);
  ~ZRBackgroundQueue();
  ZRBackgroundQueue(const ZRBackgroundQueue&) = delete;
  ZRBackgroundQueue& operator=(const ZRBackgroundQueue&) = delete;

  /// Queues `work`, which must not throw. Any thread. When the system gives no thread, the work is done inside the
  /// call.
  void post(std::function<void()> work);

  /// Waits until everything posted so far is done. Not from inside work of this queue.
  void waitUntilIdle();

 private:
  bool startThread();
  void runThread();

  const Priority priority_;

  // Any thread, under mutex_.
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> work_;
  bool busy_ = false;
  bool ending_ = false;
  std::thread thread_;
};
