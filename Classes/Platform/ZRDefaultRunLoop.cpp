#include "ZRDefaultRunLoop.h"

#include <algorithm>

namespace {

using Clock = ZRDefaultRunLoop::Clock;

/// The deadline of what never falls due.
constexpr Clock::time_point kNever = Clock::time_point::max();

/// What fits into every toolkit's time-out; a host that wakes once a day for nothing is idle enough.
constexpr std::chrono::hours kLongestSleep{24};

Clock::time_point deadlineAfter(ZRRunLoop::Duration delay) {
  const Clock::time_point now = Clock::now();
  if (delay >= kNever - now) return kNever;
  return now + std::max(delay, ZRRunLoop::Duration::zero());
}

void call(const std::shared_ptr<const ZRRunLoop::Work>& wakeup) {
  if (wakeup && *wakeup) (*wakeup)();
}

}  // namespace

ZRDefaultRunLoop::ZRDefaultRunLoop() : thread_(std::this_thread::get_id()) {}

// What dropped work holds may call back as it goes, so it is dropped while the loop is still whole.
ZRDefaultRunLoop::~ZRDefaultRunLoop() {
  clear();
}

void ZRDefaultRunLoop::post(Work work) {
  std::shared_ptr<const Work> wakeup;
  {
    const std::lock_guard lock(mutex_);
    if (ready_.empty()) wakeup = wakeup_;
    ready_.emplace_back(++lastId_, std::move(work));
  }
  wake_.notify_all();
  call(wakeup);
}

ZRRunLoop::DelayedId ZRDefaultRunLoop::postDelayed(Duration delay, Work work) {
  const Clock::time_point deadline = deadlineAfter(delay);
  std::shared_ptr<const Work> wakeup;
  DelayedId id = 0;
  {
    const std::lock_guard lock(mutex_);
    id = ++lastId_;
    const auto entry = delayed_.emplace(Deadline(deadline, id), std::move(work)).first;
    deadlines_.emplace(id, deadline);
    if (entry == delayed_.begin() && deadline != kNever) wakeup = wakeup_;
  }
  wake_.notify_all();
  call(wakeup);
  return id;
}

void ZRDefaultRunLoop::cancel(DelayedId id) {
  Work dropped;  // destroyed after the lock is released
  const std::lock_guard lock(mutex_);
  const auto deadline = deadlines_.find(id);
  if (deadline == deadlines_.end()) return;
  const auto entry = delayed_.find(Deadline(deadline->second, id));
  dropped.swap(entry->second);
  delayed_.erase(entry);
  deadlines_.erase(deadline);
}

bool ZRDefaultRunLoop::isLoopThread() const {
  const std::lock_guard lock(mutex_);
  return thread_ == std::this_thread::get_id();
}

void ZRDefaultRunLoop::run() {
  runUntil([] { return false; }, kNever);
}

void ZRDefaultRunLoop::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  wake_.notify_all();
}

bool ZRDefaultRunLoop::runUntil(const std::function<bool()>& predicate, Clock::time_point deadline) {
  Turn turn = beginTurn();
  bool held = predicate();
  while (!held && !isStopped() && Clock::now() < deadline) {
    if (!runNext(turn)) {
      waitUntilDue(deadline);
      turn = beginTurn();
    }
    held = predicate();
  }
  const std::lock_guard lock(mutex_);
  stopped_ = false;
  return held;
}

void ZRDefaultRunLoop::drain() {
  const Turn turn = beginTurn();
  while (runNext(turn)) {
  }
}

std::optional<ZRRunLoop::Duration> ZRDefaultRunLoop::timeUntilNext() const {
  const std::lock_guard lock(mutex_);
  if (!ready_.empty()) return Duration::zero();
  if (delayed_.empty() || delayed_.begin()->first.first == kNever) return std::nullopt;
  return std::max<Duration>(delayed_.begin()->first.first - Clock::now(), Duration::zero());
}

int ZRDefaultRunLoop::pollTimeout() const {
  const std::optional<Duration> next = timeUntilNext();
  if (!next) return -1;
  const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(*next);
  return static_cast<int>(std::min<std::chrono::milliseconds>(rounded, kLongestSleep).count());
}

void ZRDefaultRunLoop::setWakeup(Work wakeup) {
  auto shared = std::make_shared<const Work>(std::move(wakeup));
  const std::lock_guard lock(mutex_);
  wakeup_.swap(shared);
}

void ZRDefaultRunLoop::clear() {
  std::deque<std::pair<DelayedId, Work>> ready;  // destroyed after the lock is released, like the next one
  std::map<Deadline, Work> delayed;
  const std::lock_guard lock(mutex_);
  ready.swap(ready_);
  delayed.swap(delayed_);
  deadlines_.clear();
}

ZRDefaultRunLoop::Turn ZRDefaultRunLoop::beginTurn() {
  const std::lock_guard lock(mutex_);
  thread_ = std::this_thread::get_id();
  return {Clock::now(), lastId_};
}

bool ZRDefaultRunLoop::runNext(const Turn& turn) {
  Work work;
  if (!takeNext(turn, work)) return false;
  if (work) work();
  return true;
}

// A delayed call stays in delayed_ until it starts, so that it can be cancelled as long as it has not.
bool ZRDefaultRunLoop::takeNext(const Turn& turn, Work& work) {
  const std::lock_guard lock(mutex_);
  if (!ready_.empty() && ready_.front().first <= turn.lastId) {
    work.swap(ready_.front().second);
    ready_.pop_front();
    return true;
  }
  if (delayed_.empty()) return false;
  const auto next = delayed_.begin();
  const auto [deadline, id] = next->first;
  if (deadline > turn.now || id > turn.lastId) return false;
  work.swap(next->second);
  deadlines_.erase(id);
  delayed_.erase(next);
  return true;
}

void ZRDefaultRunLoop::waitUntilDue(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  for (Clock::time_point next; (next = nextDue(deadline)) > Clock::now();) {
    if (next == kNever) {
      wake_.wait(lock);
    } else {
      wake_.wait_until(lock, next);
    }
  }
}

Clock::time_point ZRDefaultRunLoop::nextDue(Clock::time_point deadline) const {
  if (!ready_.empty() || stopped_) return Clock::time_point::min();
  return delayed_.empty() ? deadline : std::min(deadline, delayed_.begin()->first.first);
}

bool ZRDefaultRunLoop::isStopped() const {
  const std::lock_guard lock(mutex_);
  return stopped_;
}
