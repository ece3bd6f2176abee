#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ZRRunLoop.h"

/// What every implementation of `ZRRunLoop` owes the library. `Host` is a toolkit with the loop under test on it:
///
///     ZRRunLoop& loop();  // made by the host's constructor, on the calling thread
///     bool run();         // the toolkit's real loop until `quit`, also inside work; false when that took too long
///     void quit();        // ends the innermost `run`; loop's thread
///     void settle();      // lets the toolkit do what it still has to, without waiting
///     void drop();        // gives the loop up
template <class Host>
class RunLoopContract : public testing::Test {
 protected:
  ZRRunLoop& loop() { return host_.loop(); }

  ZRRunLoop::Work say(const std::string& word) {
    return [this, word] { said_ += word; };
  }

  /// Ends the run from inside the loop.
  ZRRunLoop::Work quit() {
    return [this] { host_.quit(); };
  }

  Host host_;
  std::string said_;
};

TYPED_TEST_SUITE_P(RunLoopContract);

TYPED_TEST_P(RunLoopContract, workRunsInOrderAndNeverInsideThePost) {
  this->loop().post([this] {
    this->said_ += "a";
    this->loop().post(this->say("c"));
    this->loop().post(this->quit());
    this->said_ += "-";
  });
  this->loop().post(this->say("b"));
  EXPECT_EQ(this->said_, "");
  ASSERT_TRUE(this->host_.run());
  EXPECT_EQ(this->said_, "a-bc");
}

TYPED_TEST_P(RunLoopContract, delayedCallsRunByDeadlineThenByAge) {
  using std::chrono::milliseconds;
  this->loop().postDelayed(milliseconds(40), this->quit());
  this->loop().postDelayed(milliseconds(20), this->say("d"));
  this->loop().postDelayed(milliseconds(0), this->say("a"));
  this->loop().postDelayed(milliseconds(-5), this->say("b"));
  this->loop().postDelayed(milliseconds(10), this->say("c"));
  this->loop().postDelayed(ZRRunLoop::Duration::max(), this->say("never"));
  EXPECT_EQ(this->said_, "") << "never inside the call";
  ASSERT_TRUE(this->host_.run());
  EXPECT_EQ(this->said_, "abcd");
}

TYPED_TEST_P(RunLoopContract, aDelayedCallIsNeverEarly) {
  using Clock = std::chrono::steady_clock;
  constexpr int kCalls = 40;
  int left = kCalls;
  for (int call = 0; call < kCalls; ++call) {
    const auto due = Clock::now() + call * std::chrono::microseconds(270);
    this->loop().postDelayed(call * std::chrono::microseconds(270), [this, due, &left] {
      EXPECT_GE(Clock::now(), due);
      if (--left == 0) this->host_.quit();
    });
  }
  ASSERT_TRUE(this->host_.run());
}

TYPED_TEST_P(RunLoopContract, cancelDropsWhatHasNotStarted) {
  const auto held = std::make_shared<int>(1);
  ZRRunLoop::DelayedId sibling = 0;
  const auto early = this->loop().postDelayed(std::chrono::hours(1), [this, held] { this->said_ += "early"; });
  EXPECT_NE(early, 0U);
  this->loop().cancel(early);
  EXPECT_EQ(held.use_count(), 1) << "kept after the cancel";
  const auto first = this->loop().postDelayed({}, [this, &sibling] {
    this->said_ += "a";
    this->loop().cancel(sibling);
  });
  sibling = this->loop().postDelayed({}, [this, held] { this->said_ += "due, but cancelled by the one before"; });
  EXPECT_NE(first, sibling);
  ZRRunLoop::DelayedId own = 0;
  own = this->loop().postDelayed({}, [this, &own] {
    this->loop().cancel(own);  // it has started
    this->said_ += "b";
  });
  this->loop().postDelayed({}, this->quit());
  ASSERT_TRUE(this->host_.run());
  EXPECT_EQ(this->said_, "ab");
  EXPECT_EQ(held.use_count(), 1);
  this->loop().cancel(first);
  this->loop().cancel(0);
}

TYPED_TEST_P(RunLoopContract, onlyItsOwnThreadIsTheLoopThread) {
  EXPECT_TRUE(this->loop().isLoopThread());
  bool elsewhere = true;
  std::thread([&] { elsewhere = this->loop().isLoopThread(); }).join();
  EXPECT_FALSE(elsewhere);
  this->loop().post([this] {
    EXPECT_TRUE(this->loop().isLoopThread());
    this->host_.quit();
  });
  ASSERT_TRUE(this->host_.run());
}

TYPED_TEST_P(RunLoopContract, threadsPostAndCancelAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 300;
  std::vector<int> lastOf(kThreads, -1);
  int running = kThreads;
  std::vector<std::jthread> threads;
  const auto work = [&](int thread) {
    int& last = lastOf[static_cast<std::size_t>(thread)];
    for (int round = 0; round < kRounds; ++round) {
      this->loop().post([&, round] {
        EXPECT_TRUE(this->loop().isLoopThread());
        EXPECT_EQ(last, round - 1) << "out of order";
        last = round;
      });
      this->loop().cancel(this->loop().postDelayed(std::chrono::hours(1), this->say("cancelled")));
    }
    this->loop().postDelayed(std::chrono::milliseconds(1), [&] {
      if (--running == 0) this->host_.quit();
    });
  };
  // The loop sleeps for an hour, so it is the threads that wake it.
  this->loop().postDelayed(std::chrono::hours(1), this->say("late"));
  this->loop().post([&] {
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread);
  });
  ASSERT_TRUE(this->host_.run());
  EXPECT_EQ(lastOf, std::vector<int>(kThreads, kRounds - 1));
  EXPECT_EQ(this->said_, "");
}

TYPED_TEST_P(RunLoopContract, workMayRunTheToolkitsLoopItself) {
  this->loop().post([this] {
    this->said_ += "(";
    EXPECT_TRUE(this->host_.run()) << "the rest of the turn has to end it";
    this->loop().postDelayed(std::chrono::milliseconds(1), this->quit());
    EXPECT_TRUE(this->host_.run());
    this->said_ += ")";
    this->loop().post(this->quit());
  });
  this->loop().post(this->say("b"));
  this->loop().post(this->quit());
  ASSERT_TRUE(this->host_.run());
  EXPECT_EQ(this->said_, "(b)");
}

TYPED_TEST_P(RunLoopContract, workThatGoesOnPostingDoesNotHoldTheTurn) {
  int rounds = 0;
  std::function<void()> again = [&] {
    if (++rounds < 1000) {
      this->loop().post(again);
    } else {
      this->host_.quit();
    }
  };
  this->loop().post(again);
  this->loop().postDelayed({}, [&] { EXPECT_LT(rounds, 1000) << "starved"; });
  ASSERT_TRUE(this->host_.run());
  EXPECT_EQ(rounds, 1000);
}

TYPED_TEST_P(RunLoopContract, theEndDropsWhatHasNotStarted) {
  struct Caller {
    ZRRunLoop& loop;
    explicit Caller(ZRRunLoop& owner) : loop(owner) {}
    ~Caller() {
      loop.cancel(loop.postDelayed({}, [] {}));
      loop.post([] {});
    }
  };
  const auto held = std::make_shared<int>(1);
  this->loop().post([this, held] { this->said_ += "posted"; });
  this->loop().postDelayed({}, [this, held, caller = std::make_shared<Caller>(this->loop())] { this->said_ += "due"; });
  this->loop().postDelayed(std::chrono::hours(1), [held, caller = std::make_shared<Caller>(this->loop())] {});
  this->host_.drop();
  EXPECT_EQ(held.use_count(), 1);
  this->host_.settle();
  EXPECT_EQ(this->said_, "");
}

REGISTER_TYPED_TEST_SUITE_P(RunLoopContract, workRunsInOrderAndNeverInsideThePost, delayedCallsRunByDeadlineThenByAge,
                            aDelayedCallIsNeverEarly, cancelDropsWhatHasNotStarted, onlyItsOwnThreadIsTheLoopThread,
                            threadsPostAndCancelAtOnce, workMayRunTheToolkitsLoopItself,
                            workThatGoesOnPostingDoesNotHoldTheTurn, theEndDropsWhatHasNotStarted);
