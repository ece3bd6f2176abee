#include <gtest/gtest.h>

#include "StallClock.h"

namespace zrdl {

TEST(StallClock, silenceCountsFromTheLastSignOfLife) {
  using namespace std::chrono_literals;
  const StallClock::Clock::time_point start{};
  const StallClock::Sign quiet{.state = 2, .progress = 0.25F};
  const StallClock::Sign signs[] = {{.state = 1, .progress = 0.25F},
                                    {.state = 2, .progress = 0.5F},
                                    {.state = 2, .progress = 0.25F, .receiving = true},
                                    {.state = 2, .progress = 0.25F, .queued = true}};
  for (const StallClock::Sign& sign : signs) {
    StallClock clock(start);
    clock.observe(quiet, start);
    clock.observe(quiet, start + 5s);
    EXPECT_EQ(clock.silence(start + 5s), 5s);
    clock.observe(sign, start + 6s);
    EXPECT_EQ(clock.silence(start + 6s), 0s);
    clock.observe(sign, start + 7s);
    EXPECT_EQ(clock.silence(start + 7s), sign.receiving || sign.queued ? 0s : 1s);
  }
}

}  // namespace zrdl
