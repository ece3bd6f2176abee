#include <algorithm>
#include <memory>
#include <semaphore>
#include <set>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "ZRBackgroundQueue.h"

TEST(ZRBackgroundQueue, doesWorkInOrderOnAThreadThatGivesWay) {
  ZRBackgroundQueue queue;
  queue.waitUntilIdle();
  queue.post(nullptr);
  const int own = ::getpriority(PRIO_PROCESS, 0);
  const auto held = std::make_shared<int>(1);
  std::set<std::thread::id> threads;
  int done = 0;
  int priority = own;
  for (int i = 0; i < 100; ++i) {
    queue.post([&, i, copy = held] {
      EXPECT_EQ(done++, i);
      threads.insert(std::this_thread::get_id());
      priority = ::getpriority(PRIO_PROCESS, 0);
    });
  }
  queue.waitUntilIdle();
  EXPECT_EQ(done, 100);
  EXPECT_EQ(threads.size(), 1U);
  EXPECT_FALSE(threads.contains(std::this_thread::get_id()));
  EXPECT_EQ(held.use_count(), 1) << "an idle queue holds nothing of its work";
#ifdef __linux__  // where a thread has a priority of its own
  EXPECT_GT(priority, std::min(own, 9));
  EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), own);
#endif
}

TEST(ZRBackgroundQueue, finishesItsQueueBeforeItGoes) {
  int done = 0;
  std::binary_semaphore release(0);
  {
    ZRBackgroundQueue queue;
    queue.post([&] { release.acquire(); });
    for (int i = 0; i < 10; ++i) queue.post([&] { ++done; });
    queue.post([&] { queue.post([&] { ++done; }); });
    release.release();
  }
  EXPECT_EQ(done, 11);
}
