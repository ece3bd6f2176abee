#include <gtest/gtest.h>

#include "SCTokenBucket.h"

using namespace std::chrono_literals;

TEST(SCTokenBucket, letsPassWhatTheRateGives) {
  constexpr double kRate = 1000;
  const SCTokenBucket::Clock::time_point start{};
  SCTokenBucket bucket(start);
  EXPECT_FALSE(bucket.take(500, kRate, start)) << "it starts empty";
  EXPECT_EQ(bucket.readyAt(500, kRate), start + 500ms);
  EXPECT_EQ(bucket.readyAt(500, 2 * kRate), start + 250ms);
  EXPECT_FALSE(bucket.take(500, kRate, start + 499ms));
  EXPECT_TRUE(bucket.take(500, kRate, start + 500ms));
  EXPECT_TRUE(bucket.take(10, kRate, start + 10s)) << "little is kept of what nobody took";
  EXPECT_TRUE(bucket.take(90, kRate, start + 10s));
  EXPECT_FALSE(bucket.take(1, kRate, start + 10s));
  EXPECT_TRUE(bucket.take(5000, kRate, start + 15s)) << "more than is kept passes too";
  EXPECT_LT(bucket.readyAt(1 << 20, 0.001), start + 24h);
}
