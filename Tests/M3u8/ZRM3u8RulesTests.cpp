#include <vector>

#include <gtest/gtest.h>

#include "ZRM3u8Rules.h"

namespace {

TEST(ZRM3u8Rules, transportStreamBeginsWithTwoPackets) {
  std::vector<std::uint8_t> start(200, 0);
  EXPECT_FALSE(ZRM3u8Rules::isTransportStream(start));
  start[0] = 0x47;
  EXPECT_FALSE(ZRM3u8Rules::isTransportStream(start));
  start[188] = 0x47;
  EXPECT_TRUE(ZRM3u8Rules::isTransportStream(start));
  EXPECT_FALSE(ZRM3u8Rules::isTransportStream(std::span(start).first(199)));
  EXPECT_FALSE(ZRM3u8Rules::isTransportStream(std::span(start).first(1)));
  EXPECT_TRUE(ZRM3u8Rules::isTransportStream({}));
}

TEST(ZRM3u8Rules, addressesLiveTwoHoursInBothDirections) {
  for (const double sign : {1.0, -1.0}) {
    EXPECT_FALSE(ZRM3u8Rules::areAddressesExpired(10000, 10000 + sign * 7200));
    EXPECT_TRUE(ZRM3u8Rules::areAddressesExpired(10000, 10000 + sign * 7200.5));
  }
}

TEST(ZRM3u8Rules, keyIsAppendedWithoutLookingForAQuery) {
  EXPECT_EQ(ZRM3u8Rules::urlWithMkey("http://h/p?a=1&", "K"), "http://h/p?a=1&mkey=K");
  EXPECT_EQ(ZRM3u8Rules::urlWithMkey("http://h/p?a=1", "K"), "http://h/p?a=1&mkey=K");
  EXPECT_EQ(ZRM3u8Rules::urlWithMkey("http://h/p.m3u8", "K"), "http://h/p.m3u8&mkey=K");
  EXPECT_EQ(ZRM3u8Rules::urlWithMkey("http://h/p?a=1&", ""), "http://h/p?a=1&");
}

}  // namespace
