#pragma once

#include <stdexcept>

#include "RunLoopContract.h"

/// What a loop on a toolkit owes beyond the contract of every loop.
class AdapterContract : public RunLoopContract {};

TEST_P(AdapterContract, anIdleLoopLetsTheToolkitSleep) {
  EXPECT_TRUE(host_->comesToRest());
  loop().post(say("a"));
  EXPECT_TRUE(host_->comesToRest()) << "work that is done keeps it awake";
  loop().postDelayed(1h, say("late"));
  loop().post(say("b"));
  EXPECT_TRUE(host_->comesToRest()) << "a distant deadline keeps it awake";
  EXPECT_EQ(said_, "ab");
}

TEST_P(AdapterContract, itsWorkOrAThreadMayDropIt) {
  struct Case {
    bool duringATurn;
    bool elsewhere;
  };
  for (const auto [duringATurn, elsewhere] : {Case{true, false}, Case{true, true}, Case{false, true}}) {
    SCOPED_TRACE(std::string(duringATurn ? "during a turn" : "at rest") + (elsewhere ? ", by a thread" : ""));
    host_.reset();
    host_ = makeHost(GetParam());
    const auto drop = [this, elsewhere = elsewhere] {
      std::shared_ptr<ZRRunLoop> last = std::exchange(host_->loop, nullptr);
      if (elsewhere) std::thread([last = std::move(last)]() mutable { last.reset(); }).join();
    };
    if (duringATurn) {
      loop().post([&] {
        drop();
        host_->quit();
      });
    }
    loop().post(say("posted"));
    loop().postDelayed({}, say("due"));
    if (duringATurn) {
      EXPECT_TRUE(host_->run());
    } else {
      drop();
    }
    host_->settle();
    EXPECT_EQ(said_, "");
  }
}

TEST_P(AdapterContract, anExceptionEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  loop().post([] { throw std::runtime_error("thrown by work"); });
  EXPECT_DEATH(host_->run(), "thrown by work");
}
