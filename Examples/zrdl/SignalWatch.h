#pragma once

#include <functional>

namespace zrdl {

/// What SIGINT, SIGTERM and SIGHUP do to this process: the first one calls whoever listens, on a thread of its own
/// where ordinary code may run; every further one, and one that nobody listens to, ends the process at once. That loses
/// nothing: what the library has stored is stored, and what it was about to delete is deleted at the next start.
/// Under nohup SIGHUP stays ignored.
class SignalWatch final {
 public:
  /// Begins to watch, for the rest of the process's life. To be called once, before the first thread is started.
  static void start();

  /// Listens as long as it lives; one at a time. `onSignal` is called once at most, and not after the destructor.
  explicit SignalWatch(std::function<void()> onSignal);
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;
};

}  // namespace zrdl
