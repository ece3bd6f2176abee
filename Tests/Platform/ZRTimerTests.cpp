#include <gtest/gtest.h>

#include "ManualRunLoop.h"
#include "ZRTimer.h"

using namespace std::chrono_literals;

namespace {

class ZRTimerTest : public testing::Test {
 protected:
  std::shared_ptr<ManualRunLoop> loop_ = ManualRunLoop::install();
  ZRTimer timer_{1s, nullptr};
};

}  // namespace

TEST_F(ZRTimerTest, actionMayParkRearmOrDestroyItsTimer) {
  int calls = 0;
  std::shared_ptr<ZRTimer> owned;
  owned = std::make_shared<ZRTimer>(1s, [&, own = std::make_shared<int>()] {
    const std::weak_ptr<int> property = own;
    ++calls;
    if (calls == 1) owned->park();
    if (calls == 2) owned->rearm();
    if (calls == 3) owned.reset();
    EXPECT_FALSE(property.expired()) << "the action outlives the timer it destroys";
  });
  for (const int expected : {1, 3}) {
    owned->rearm();
    loop_->advance(10s);
    EXPECT_EQ(std::tuple(calls, loop_->pendingDelayed()), std::tuple(expected, 0U));
  }
}

TEST_F(ZRTimerTest, aLoopThatIsGoneIsHarmless) {
  timer_.rearm();
  loop_.reset();
  ZRRunLoop::setMain(nullptr);
  timer_.rearm();
  EXPECT_TRUE(timer_.isParked());
}
