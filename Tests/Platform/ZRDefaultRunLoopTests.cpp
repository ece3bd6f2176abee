#include <semaphore>
#include <string>

#include <gtest/gtest.h>

#include "ZRDefaultRunLoop.h"

using namespace std::chrono_literals;

namespace {

/// What is left of the loop beside the contract that it shares with the adapters (RunLoopContract.h).
class ZRDefaultRunLoopTest : public testing::Test {
 protected:
  ZRRunLoop::Work say(const std::string& word) {
    return [this, word] { said_ += word; };
  }

  std::string said_;
  ZRDefaultRunLoop loop_;
};

}  // namespace

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

  const auto never = loop_.postDelayed(ZRRunLoop::Duration::max(), say("never"));
  EXPECT_EQ(loop_.timeUntilNext(), std::nullopt);
  EXPECT_EQ(wakeups, 3) << "an endless delay is never due";
  loop_.postDelayed(2h, say("later"));
  loop_.postDelayed(3h, say("latest"));
  EXPECT_EQ(wakeups, 4) << "the earliest deadline has not moved";
  loop_.postDelayed(1h, say("early"));
  EXPECT_EQ(wakeups, 5);
  loop_.cancel(never);
  EXPECT_EQ(said_, "abc");
}

TEST_F(ZRDefaultRunLoopTest, runUntilLeavesTheRestOfTheTurnInOrder) {
  for (const char* word : {"a", "b", "c"}) loop_.post(say(word));
  EXPECT_TRUE(loop_.runUntil([this] { return said_ == "a"; }, ZRDefaultRunLoop::Clock::now() + 20s));
  EXPECT_EQ(said_, "a");
  loop_.post(say("d"));
  EXPECT_EQ(loop_.timeUntilNext(), 0ns);
  loop_.drain();
  EXPECT_EQ(said_, "abcd");

  loop_.postDelayed(2h, say("late"));
  EXPECT_FALSE(loop_.runUntil([] { return false; }, ZRDefaultRunLoop::Clock::now() + 1ms));
  EXPECT_EQ(said_, "abcd");
}

TEST_F(ZRDefaultRunLoopTest, stopEndsTheRunAfterTheWorkInHand) {
  std::jthread runner([this] { loop_.run(); });  // with nothing to wait for but a post
  loop_.post([this] {
    EXPECT_TRUE(loop_.isLoopThread());
    loop_.stop();
    said_ += "a";
  });
  loop_.post(say("b"));
  runner.join();
  EXPECT_EQ(said_, "a");
  EXPECT_FALSE(loop_.isLoopThread()) << "another thread ran it";

  loop_.stop();
  loop_.run();
  EXPECT_EQ(said_, "a") << "a stop without a running loop ends the next run";
  EXPECT_TRUE(loop_.runUntil([this] { return said_ == "ab"; }, ZRDefaultRunLoop::Clock::now() + 20s));
}

TEST_F(ZRDefaultRunLoopTest, whatACancelledCallHeldMayCallBack) {
  ZRRunLoop::DelayedId id = 0;
  std::shared_ptr<void> caller(&id, [&](void*) {
    loop_.cancel(id);
    loop_.post([] {});
  });
  id = loop_.postDelayed(1h, [caller = std::move(caller)] {});
  loop_.cancel(id);
  EXPECT_EQ(loop_.timeUntilNext(), 0ns) << "posted by what the cancelled call held";
  loop_.drain();
  EXPECT_EQ(loop_.timeUntilNext(), std::nullopt) << "nothing of the call is left";
}

TEST_F(ZRDefaultRunLoopTest, noReplyIsLostHoweverSoonItComes) {
  constexpr int kRounds = 300;
  std::counting_semaphore<> asked(1);
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
  EXPECT_TRUE(loop_.runUntil([&] { return replies == kRounds; }, ZRDefaultRunLoop::Clock::now() + 1min));
}
