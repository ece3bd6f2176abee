#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ZRRunLoop.h"

using namespace std::chrono_literals;

/// A toolkit with the loop under test on it, for the thread that makes it.
class LoopHost {
 public:
  explicit LoopHost(std::shared_ptr<ZRRunLoop> made = nullptr) : loop(std::move(made)) {}
  virtual ~LoopHost() = default;

  /// Runs the toolkit's real loop until `quit`, also inside work; false when that took too long.
  bool run() {
    enter();
    return std::exchange(quitted_, false);
  }

  /// Ends the innermost `run`; loop's thread.
  void quit() {
    quitted_ = true;
    leave();
  }

  /// One pass of the toolkit's loop without waiting: was there anything?
  virtual bool iterate() { return false; }

  /// Whether the toolkit comes to rest, as it must when nothing is due.
  bool comesToRest() {
    for (int pass = 0; pass < 50; ++pass) {
      if (!iterate()) return true;
    }
    return false;
  }

  /// Lets the toolkit do what it still has to, without waiting.
  virtual void settle() { comesToRest(); }

  std::shared_ptr<ZRRunLoop> loop;

 protected:
  static constexpr auto kLimit = 20s;

  /// Runs the toolkit's loop until `leave`, or until the limit has passed.
  virtual void enter() = 0;
  virtual void leave() {}

  bool quitted_ = false;
};

/// Defined by each test program, for the names of its hosts.
std::unique_ptr<LoopHost> makeHost(const std::string& name);

/// What every implementation of `ZRRunLoop` owes the library.
class RunLoopContract : public testing::TestWithParam<std::string> {
 protected:
  ZRRunLoop& loop() { return *host_->loop; }

  ZRRunLoop::Work say(const std::string& word) {
    return [this, word] { said_ += word; };
  }

  /// Ends the run from inside the loop.
  ZRRunLoop::Work quit() {
    return [this] { host_->quit(); };
  }

  std::unique_ptr<LoopHost> host_ = makeHost(GetParam());
  std::string said_;
};

TEST_P(RunLoopContract, workRunsInOrderAfterThePost) {
  loop().post([this] {
    said_ += "a";
    loop().post(say("c"));
    loop().post(quit());
    said_ += "-";
  });
  loop().post(say("b"));
  EXPECT_EQ(said_, "");
  ASSERT_TRUE(host_->run());
  EXPECT_EQ(said_, "a-bc");
}

TEST_P(RunLoopContract, delayedCallsRunByDeadline) {
  loop().postDelayed(40ms, quit());
  loop().postDelayed(20ms, say("d"));
  loop().postDelayed(0ms, say("a"));
  loop().postDelayed(-5ms, say("b"));
  loop().postDelayed(10ms, say("c"));
  loop().postDelayed(ZRRunLoop::Duration::max(), say("never"));
  EXPECT_EQ(said_, "") << "never inside the call";
  ASSERT_TRUE(host_->run());
  EXPECT_EQ(said_, "abcd");
}

TEST_P(RunLoopContract, aDelayedCallIsNeverEarly) {
  using Clock = std::chrono::steady_clock;
  int left = 40;
  for (auto delay = 0us; delay < 40 * 270us; delay += 270us) {
    loop().postDelayed(delay, [this, due = Clock::now() + delay, &left] {
      EXPECT_GE(Clock::now(), due);
      if (--left == 0) host_->quit();
    });
  }
  ASSERT_TRUE(host_->run());
}

TEST_P(RunLoopContract, cancelDropsWhatHasNotBegun) {
  const auto held = std::make_shared<int>(1);
  const auto early = loop().postDelayed(1h, [this, held] { said_ += "early"; });
  EXPECT_NE(early, 0U);
  loop().cancel(early);
  EXPECT_EQ(held.use_count(), 1) << "kept after the cancel";
  ZRRunLoop::DelayedId sibling = 0;
  const auto first = loop().postDelayed({}, [this, &sibling] {
    said_ += "a";
    loop().cancel(sibling);
  });
  sibling = loop().postDelayed({}, [this, held] { said_ += "due, but cancelled by the one before"; });
  EXPECT_NE(first, sibling);
  ZRRunLoop::DelayedId own = 0;
  own = loop().postDelayed({}, [this, &own] {
    loop().cancel(own);  // it has started
    said_ += "b";
  });
  loop().postDelayed({}, quit());
  ASSERT_TRUE(host_->run());
  EXPECT_EQ(said_, "ab");
  EXPECT_EQ(held.use_count(), 1);
  loop().cancel(first);
  loop().cancel(0);
}

TEST_P(RunLoopContract, otherThreadsPostAndCancel) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 300;
  std::vector<int> lastOf(kThreads, -1);
  int running = kThreads;
  std::vector<std::jthread> threads;
  const auto work = [&](int& last) {
    EXPECT_FALSE(loop().isLoopThread());
    for (int round = 0; round < kRounds; ++round) {
      loop().post([&, round] {
        EXPECT_TRUE(loop().isLoopThread());
        EXPECT_EQ(last, round - 1) << "out of order";
        last = round;
      });
      loop().cancel(loop().postDelayed(1h, say("cancelled")));
    }
    loop().postDelayed(1ms, [&] {
      if (--running == 0) host_->quit();
    });
  };
  EXPECT_TRUE(loop().isLoopThread());
  // The loop sleeps for an hour, so it is the threads that wake it.
  loop().postDelayed(1h, say("late"));
  loop().post([&] {
    for (int& last : lastOf) threads.emplace_back(work, std::ref(last));
  });
  ASSERT_TRUE(host_->run());
  EXPECT_EQ(lastOf, std::vector<int>(kThreads, kRounds - 1));
  EXPECT_EQ(said_, "");
}

TEST_P(RunLoopContract, workMayRunTheLoopItself) {
  loop().post([this] {
    said_ += "(";
    EXPECT_TRUE(host_->run()) << "the rest of the turn has to end it";
    loop().postDelayed(1ms, quit());
    EXPECT_TRUE(host_->run());
    said_ += ")";
    loop().post(quit());
  });
  loop().post(say("b"));
  loop().post(quit());
  ASSERT_TRUE(host_->run());
  EXPECT_EQ(said_, "(b)");
}

TEST_P(RunLoopContract, workThatPostsOnLetsOthersIn) {
  int rounds = 0;
  ZRRunLoop::Work again = [&] { loop().post(++rounds < 1000 ? again : quit()); };
  loop().post(again);
  loop().postDelayed({}, [&] { EXPECT_LT(rounds, 1000) << "starved"; });
  ASSERT_TRUE(host_->run());
  EXPECT_EQ(rounds, 1000);
}

TEST_P(RunLoopContract, theEndDropsWhatHasNotBegun) {
  ZRRunLoop& ending = loop();
  const auto callBack = [&ending](const int*) {
    ending.cancel(ending.postDelayed({}, [] {}));
    ending.post([] {});
  };
  const auto held = std::make_shared<int>(1);
  loop().post([this, held] { said_ += "posted"; });
  loop().postDelayed({}, [this, held, last = std::shared_ptr<int>(nullptr, callBack)] { said_ += "due"; });
  loop().postDelayed(1h, [held, last = std::shared_ptr<int>(nullptr, callBack)] {});
  host_->loop.reset();
  EXPECT_EQ(held.use_count(), 1);
  host_->settle();
  EXPECT_EQ(said_, "");
}
