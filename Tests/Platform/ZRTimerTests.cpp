#include <gtest/gtest.h>

#include "ManualRunLoop.h"
#include "ZRTimer.h"

using namespace std::chrono_literals;

namespace {

class ZRTimerTest : public testing::Test {
 protected:
  std::shared_ptr<ManualRunLoop> loop_ = ManualRunLoop::install();
  int fired_ = 0;
  ZRTimer timer_{1s, [this] { ++fired_; }};
};

}  // namespace

TEST_F(ZRTimerTest, firesEveryIntervalWhileArmed) {
  EXPECT_TRUE(timer_.isParked());
  loop_->advance(5s);
  EXPECT_EQ(fired_, 0);

  timer_.rearm();
  EXPECT_FALSE(timer_.isParked());
  loop_->advance(900ms);
  timer_.rearm();  // which puts the pending fire off
  loop_->advance(999ms);
  EXPECT_EQ(fired_, 0);
  loop_->advance(1ms);
  EXPECT_EQ(fired_, 1);
  EXPECT_EQ(loop_->pendingDelayed(), 1U);
  loop_->advance(3s);
  EXPECT_EQ(fired_, 4);

  timer_.park();
  EXPECT_TRUE(timer_.isParked());
  EXPECT_EQ(loop_->pendingDelayed(), 0U) << "a parked timer holds nothing in the loop";
  loop_->advance(5s);
  EXPECT_EQ(fired_, 4);
}

TEST_F(ZRTimerTest, actionMayParkRearmOrDestroyItsTimer) {
  int calls = 0;
  auto owned = std::shared_ptr<ZRTimer>();
  owned = std::make_shared<ZRTimer>(1s, [&, witness = std::string(100, 'w')] {
    ++calls;
    if (calls == 1) owned->park();
    if (calls == 2) owned->rearm();
    if (calls == 3) owned.reset();
    EXPECT_EQ(witness, std::string(100, 'w')) << "the action outlives the timer it destroys";
  });
  owned->rearm();
  loop_->advance(10s);
  EXPECT_EQ(calls, 1);
  owned->rearm();
  loop_->advance(10s);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(loop_->pendingDelayed(), 0U);
}

TEST_F(ZRTimerTest, aLoopThatIsGoneIsHarmless) {
  timer_.rearm();
  loop_.reset();
  ZRRunLoop::setMain(nullptr);
  timer_.rearm();
  EXPECT_TRUE(timer_.isParked());
}
