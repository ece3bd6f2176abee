#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "ZRExport.h"

/// The host's main loop as the library sees it: the one thread on which every call into the manager and every callback
/// takes place.
///
/// A host with a loop of its own hands the library an implementation through `setMain` before anything else; without
/// one, `main()` is a `ZRDefaultRunLoop`, which the host drives itself.
class ZR_EXPORT ZRRunLoop {
 public:
  using Work = std::function<void()>;         ///< a call to make; it must not throw
  using Duration = std::chrono::nanoseconds;  ///< of delays

  /// Names a delayed call until it has run or was cancelled; never 0.
  using DelayedId = std::uint64_t;

  virtual ~ZRRunLoop();

  /// Runs `work` on the loop's thread, after everything posted before it and never inside this call. Any thread.
  virtual void post(Work work) = 0;

  /// Runs `work` on the loop's thread once `delay` has passed. Any thread.
  virtual DelayedId postDelayed(Duration delay, Work work) = 0;

  /// Drops a delayed call that has not started; an id that is no longer known is ignored. Any thread.
  virtual void cancel(DelayedId id) = 0;

  /// True on the thread that runs this loop.
  virtual bool isLoopThread() const = 0;

  /// The loop in use. Any thread.
  static std::shared_ptr<ZRRunLoop> main();

  /// Replaces the loop; to be called before the manager exists. Null goes back to a new default loop.
  static void setMain(std::shared_ptr<ZRRunLoop> loop);
};
