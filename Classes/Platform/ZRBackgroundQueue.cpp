#include "ZRBackgroundQueue.h"

#include <new>
#include <system_error>
#include <utility>

#include "ZRSignalsBlocked.h"

#ifdef __APPLE__
#include <pthread.h>
#else
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

/// A refusal costs only speed elsewhere, so it is not looked at.
void lowerPriorityOfThisThread() {
#ifdef __APPLE__
  ::pthread_set_qos_class_self_np(QOS_CLASS_BACKGROUND, 0);
#else
  constexpr int kNice = 10;
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNice);
#endif
}

}  // namespace

ZRBackgroundQueue& ZRBackgroundQueue::shared() {
  static ZRBackgroundQueue queue;
  return queue;
}

ZRBackgroundQueue& ZRBackgroundQueue::disk() {
  static ZRBackgroundQueue queue(Priority::Normal);
  return queue;
}

ZRBackgroundQueue::ZRBackgroundQueue(Priority priority) : priority_(priority) {}

ZRBackgroundQueue::~ZRBackgroundQueue() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void ZRBackgroundQueue::post(std::function<void()> work) {
  if (!work) return;
  if (!startThread()) return work();
  {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  changed_.notify_all();
}

void ZRBackgroundQueue::waitUntilIdle() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return work_.empty() && !busy_; });
}

bool ZRBackgroundQueue::startThread() {
  const std::lock_guard lock(mutex_);
  if (thread_.joinable()) return true;
  try {
    const ZRSignalsBlocked blocked;
    thread_ = std::thread(&ZRBackgroundQueue::runThread, this);
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void ZRBackgroundQueue::runThread() {
  if (priority_ == Priority::Low) lowerPriorityOfThisThread();
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return !work_.empty() || ending_; });
    if (work_.empty()) return;
    std::function<void()> work = std::move(work_.front());
    work_.pop_front();
    busy_ = true;
    lock.unlock();
    try {
      work();
    } catch (const std::bad_alloc&) {
      // ends this piece of work, not the host
    }
    work = nullptr;  // what it holds goes before the queue counts as idle
    lock.lock();
    busy_ = false;
    changed_.notify_all();
  }
}
