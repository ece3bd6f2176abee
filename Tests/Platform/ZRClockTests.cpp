#include <gtest/gtest.h>

#include "ZRClock.h"

TEST(ZRClock, countsFromBothEpochs) {
  ZRClock::setSource([] { return 1704067200.25; });  // 1 January 2024
  EXPECT_EQ(ZRClock::secondsSince1970(), 1704067200.25);
  EXPECT_EQ(ZRClock::secondsSinceReferenceDate(), 725760000.25);
  ZRClock::setSource(nullptr);
  EXPECT_GT(ZRClock::secondsSince1970(), 1704067200.25);
}
