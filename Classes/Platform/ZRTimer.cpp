#include "ZRTimer.h"

#include <utility>

#include "ZRRunLoop.h"
#include "ZRThreadCheck.h"

/// What outlives the timer while its action destroys it.
struct ZRTimer::State {
  std::weak_ptr<ZRRunLoop> loop;
  std::chrono::nanoseconds interval;
  std::function<void()> action;
  ZRRunLoop::DelayedId pending = 0;  // 0 while parked

  static void arm(const std::shared_ptr<State>& state);
  static void fire(const std::shared_ptr<State>& state);
  void cancel();
};

void ZRTimer::State::arm(const std::shared_ptr<State>& state) {
  state->cancel();
  const std::shared_ptr<ZRRunLoop> loop = state->loop.lock();
  if (!loop) return;
  state->pending = loop->postDelayed(state->interval, [weak = std::weak_ptr(state)] {
    if (const std::shared_ptr<State> alive = weak.lock()) fire(alive);
  });
}

void ZRTimer::State::fire(const std::shared_ptr<State>& state) {
  state->pending = 0;
  arm(state);  // first, so that the action can park or destroy the timer
  if (state->action) state->action();
}

void ZRTimer::State::cancel() {
  const ZRRunLoop::DelayedId id = std::exchange(pending, 0);
  if (id == 0) return;
  if (const std::shared_ptr<ZRRunLoop> current = loop.lock()) current->cancel(id);
}

ZRTimer::ZRTimer(std::chrono::nanoseconds interval, std::function<void()> action)
    : state_(std::make_shared<State>(State{ZRRunLoop::main(), interval, std::move(action)})) {}

ZRTimer::~ZRTimer() {
  state_->cancel();
}

void ZRTimer::rearm() {
  zrAssertLoopThread();
  State::arm(state_);
}

void ZRTimer::park() {
  zrAssertLoopThread();
  state_->cancel();
}

bool ZRTimer::isParked() const noexcept {
  return state_->pending == 0;
}
