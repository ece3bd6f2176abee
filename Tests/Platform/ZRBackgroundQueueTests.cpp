#include <future>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "ZRBackgroundQueue.h"

#ifdef __linux__
#include <sys/resource.h>
#endif

TEST(ZRBackgroundQueue, doesWorkInOrderOnOneThreadOfItsOwn) {
  ZRBackgroundQueue queue;
  std::vector<int> done;
  std::vector<std::thread::id> threads;
  for (int i = 0; i < 100; ++i) {
    queue.post([&, i] {
      done.push_back(i);
      threads.push_back(std::this_thread::get_id());
    });
  }
  queue.waitUntilIdle();
  ASSERT_EQ(done.size(), 100U);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(done[static_cast<std::size_t>(i)], i);
  EXPECT_EQ(threads, std::vector<std::thread::id>(100, threads.front()));
  EXPECT_NE(threads.front(), std::this_thread::get_id());
}

TEST(ZRBackgroundQueue, finishesItsQueueBeforeItGoes) {
  int done = 0;
  {
    ZRBackgroundQueue queue;
    std::promise<void> started;
    std::promise<void> release;
    queue.post([&, gate = release.get_future().share()] {
      started.set_value();
      gate.wait();
    });
    started.get_future().wait();
    for (int i = 0; i < 10; ++i) queue.post([&] { ++done; });
    queue.post([&] { queue.post([&] { ++done; }); });
    release.set_value();
  }
  EXPECT_EQ(done, 11);
}

TEST(ZRBackgroundQueue, anIdleQueueHoldsNothingOfItsWork) {
  ZRBackgroundQueue queue;
  queue.waitUntilIdle();
  const auto held = std::make_shared<int>(1);
  queue.post([copy = held] {});
  queue.post(nullptr);
  queue.waitUntilIdle();
  EXPECT_EQ(held.use_count(), 1);
}

#ifdef __linux__
TEST(ZRBackgroundQueue, givesWayToOtherThreads) {
  ZRBackgroundQueue queue;
  const int own = ::getpriority(PRIO_PROCESS, 0);
  int inQueue = own;
  queue.post([&] { inQueue = ::getpriority(PRIO_PROCESS, 0); });
  queue.waitUntilIdle();
  EXPECT_GT(inQueue, std::min(own, 9));
  EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), own);
}
#endif
