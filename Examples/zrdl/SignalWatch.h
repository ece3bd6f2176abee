#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace zrdl {

/// Turns SIGINT and SIGTERM into calls on a thread of its own, where ordinary code may run. A second signal ends the
/// process at once.
class SignalWatch final {
 public:
  /// Keeps the signals from interrupting the calling thread and every thread that it starts from now on. To be called
  /// before the first thread is started.
  static void block();

  /// Calls `onSignal` on the watching thread for the first signal.
  explicit SignalWatch(std::function<void()> onSignal);
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

 private:
  void watch(const std::function<void()>& onSignal);

  std::atomic<bool> ending_ = false;
  std::thread thread_;
};

}  // namespace zrdl
