#include <atomic>
#include <semaphore>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ZRDefaultRunLoop.h"

using namespace std::chrono_literals;

namespace {

class ZRDefaultRunLoopTest : public testing::Test {
 protected:
  ZRRunLoop::Work say(const std::string& word) {
    return [this, word] { said_ += word; };
  }

  /// Runs until `word` was said last.
  bool runUntilSaid(const std::string& word) {
    return loop_.runUntil([&] { return said_.ends_with(word); }, ZRDefaultRunLoop::Clock::now() + 20s);
  }

  std::string said_;
  ZRDefaultRunLoop loop_;
};

}  // namespace

TEST_F(ZRDefaultRunLoopTest, aTurnIsWhatWasDueWhenItBegan) {
  loop_.post([this] {
    said_ += "a";
    loop_.post(say("c"));
    loop_.postDelayed(-1s, say("d"));
  });
  loop_.post(say("b"));
  EXPECT_EQ(said_, "") << "never inside the call";
  loop_.drain();
  EXPECT_EQ(said_, "ab");
  EXPECT_EQ(loop_.timeUntilNext(), 0ns);
  loop_.drain();
  EXPECT_EQ(said_, "abcd");
  EXPECT_EQ(loop_.timeUntilNext(), std::nullopt);
}

TEST_F(ZRDefaultRunLoopTest, delayedCallsRunByDeadlineThenByAge) {
  loop_.postDelayed(30ms, say("d"));
  loop_.postDelayed(0ns, say("a"));
  loop_.postDelayed(-5s, say("b"));
  loop_.postDelayed(10ms, say("c"));
  EXPECT_TRUE(runUntilSaid("d"));
  EXPECT_EQ(said_, "abcd");
}

TEST_F(ZRDefaultRunLoopTest, cancelDropsACallOfTheTurnInHand) {
  ZRRunLoop::DelayedId dropped = 0;
  const auto held = std::make_shared<int>(1);
  loop_.postDelayed(0ns, [this, &dropped] {
    said_ += "a";
    loop_.cancel(dropped);
  });
  dropped = loop_.postDelayed(0ns, [this, held] { said_ += "dropped"; });
  const auto done = loop_.postDelayed(0ns, say("b"));
  loop_.drain();
  EXPECT_EQ(said_, "ab");
  EXPECT_EQ(held.use_count(), 1);
  loop_.cancel(done);
  loop_.cancel(0);
  EXPECT_EQ(loop_.timeUntilNext(), std::nullopt);
}

TEST_F(ZRDefaultRunLoopTest, anEndlessDelayIsNeverDue) {
  int wakeups = 0;
  loop_.setWakeup([&] { ++wakeups; });
  const auto id = loop_.postDelayed(ZRRunLoop::Duration::max(), say("never"));
  EXPECT_EQ(loop_.timeUntilNext(), std::nullopt);
  EXPECT_EQ(wakeups, 0);
  loop_.postDelayed(1ms, say("a"));
  EXPECT_TRUE(runUntilSaid("a"));
  loop_.cancel(id);
  EXPECT_EQ(said_, "a");
}

TEST_F(ZRDefaultRunLoopTest, wakeupTellsOfEveryEdgeOnce) {
  int wakeups = 0;
  loop_.setWakeup([&] { ++wakeups; });
  loop_.post(say("a"));
  loop_.post(say("b"));
  EXPECT_EQ(wakeups, 1) << "the loop was not idle the second time";
  loop_.drain();
  loop_.post([this] { loop_.post(say("c")); });
  EXPECT_EQ(wakeups, 2);
  loop_.drain();
  EXPECT_EQ(wakeups, 3) << "what a turn posts is for another turn";
  loop_.drain();

  loop_.postDelayed(2h, say("later"));
  loop_.postDelayed(3h, say("latest"));
  EXPECT_EQ(wakeups, 4) << "the earliest deadline has not moved";
  loop_.postDelayed(1h, say("early"));
  EXPECT_EQ(wakeups, 5);
  EXPECT_EQ(said_, "abc");
}

TEST_F(ZRDefaultRunLoopTest, runUntilLeavesTheRestOfTheTurnInOrder) {
  for (const char* word : {"a", "b", "c"}) loop_.post(say(word));
  EXPECT_TRUE(runUntilSaid("a"));
  EXPECT_EQ(said_, "a");
  loop_.post(say("d"));
  EXPECT_EQ(loop_.timeUntilNext(), 0ns);
  loop_.drain();
  EXPECT_EQ(said_, "abcd");
}

TEST_F(ZRDefaultRunLoopTest, runUntilGivesUpAtItsDeadline) {
  loop_.postDelayed(2h, say("late"));
  EXPECT_FALSE(loop_.runUntil([] { return false; }, ZRDefaultRunLoop::Clock::now() + 1ms));
  EXPECT_EQ(said_, "");
}

TEST_F(ZRDefaultRunLoopTest, stopEndsTheRunAfterTheWorkInHand) {
  loop_.post([this] {
    loop_.stop();
    said_ += "a";
  });
  loop_.post(say("b"));
  loop_.run();
  EXPECT_EQ(said_, "a");

  loop_.stop();
  loop_.run();
  EXPECT_EQ(said_, "a") << "a stop without a running loop ends the next run";
  loop_.drain();
  EXPECT_EQ(said_, "ab");
}

TEST_F(ZRDefaultRunLoopTest, workMayRunTheLoopItself) {
  loop_.post([this] {
    said_ += "(";
    loop_.post(say("c"));
    EXPECT_TRUE(runUntilSaid("c"));
    said_ += ")";
  });
  loop_.post(say("b"));
  loop_.drain();
  EXPECT_EQ(said_, "(bc)");
}

TEST_F(ZRDefaultRunLoopTest, droppedWorkMayCallBack) {
  struct Caller {
    ZRRunLoop& loop;
    ZRRunLoop::DelayedId id = 0;
    explicit Caller(ZRRunLoop& owner) : loop(owner) {}
    ~Caller() {
      loop.cancel(id);
      loop.post([] {});
    }
  };
  const auto delayed = [](ZRRunLoop& loop) {
    auto caller = std::make_shared<Caller>(loop);
    Caller& kept = *caller;
    kept.id = loop.postDelayed(1h, [caller = std::move(caller)] {});
    return kept.id;
  };
  loop_.cancel(delayed(loop_));
  EXPECT_EQ(loop_.timeUntilNext(), 0ns) << "posted by what the cancelled call held";

  auto other = std::make_unique<ZRDefaultRunLoop>();
  delayed(*other);
  other->post([caller = std::make_shared<Caller>(*other)] {});
  other.reset();
}

TEST_F(ZRDefaultRunLoopTest, noReplyIsLostHoweverSoonItComes) {
  constexpr int kRounds = 300;
  std::counting_semaphore<> asked(0);
  int replies = 0;
  const auto reply = [&] {
    ++replies;
    asked.release();
  };
  std::jthread replying([&] {
    for (int round = 0; round < kRounds; ++round) {
      asked.acquire();
      if (round % 3 == 0) loop_.post(reply);
      if (round % 3 == 1) loop_.postDelayed(10us, reply);
      if (round % 3 == 2) loop_.postDelayed(2ms, reply);
    }
  });
  loop_.postDelayed(1h, [] {});
  asked.release();
  EXPECT_TRUE(loop_.runUntil([&] { return replies == kRounds; }, ZRDefaultRunLoop::Clock::now() + 1min));
}

TEST_F(ZRDefaultRunLoopTest, threadsMayPostCancelAndStop) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  std::atomic<int> wakeups = 0;
  std::vector<int> lastOf(kThreads, -1);
  int ran = 0;
  loop_.setWakeup([&] { ++wakeups; });
  std::jthread runner([this] { loop_.run(); });
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        auto& last = lastOf[static_cast<std::size_t>(thread)];
        for (int round = 0; round < kRounds; ++round) {
          loop_.post([&, round] {
            EXPECT_TRUE(loop_.isLoopThread());
            EXPECT_EQ(last, round - 1);
            last = round;
            ++ran;
          });
          loop_.cancel(loop_.postDelayed(1h, [&] { ran = -1; }));
        }
      });
    }
  }
  loop_.post([this] { loop_.stop(); });
  runner.join();
  EXPECT_FALSE(loop_.isLoopThread());
  EXPECT_EQ(ran, kThreads * kRounds);
  EXPECT_GT(wakeups, 0);
  EXPECT_EQ(loop_.timeUntilNext(), std::nullopt);
}
