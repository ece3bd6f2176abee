#include <gtest/gtest.h>
#include <malloc.h>

#include "ZRNotificationCenter.h"

TEST(ZRNotificationCenter, observersMayComeGoAndPostDuringAPost) {
  ZRNotificationCenter center;
  std::string said;
  const auto say = [&](const char* name, const char* word) {
    return center.addObserver(name, [&said, word](const ZRNotification&) { said += word; });
  };
  std::vector<ZRNotificationCenter::Token> added;
  ZRNotificationCenter::Token self;
  ZRNotificationCenter::Token later;
  self = center.addObserver("n", [&](const ZRNotification&) {
    center.post("inner", nullptr);
    self.reset();
    later.reset();
    for (int i = 0; i < 100; ++i) added.push_back(say("n", "a"));
  });
  const auto inner = say("inner", "i");
  const auto between = say("n", "b");
  later = say("n", "l");
  center.post("n", nullptr);
  EXPECT_EQ(said, "ib");
  added.resize(2);
  center.post("n", nullptr);
  EXPECT_EQ(said, "ibbaa");
  const std::size_t before = ::mallinfo2().uordblks;
  for (int i = 0; i < 1000; ++i) say("n", "dropped").reset();
  EXPECT_LT(::mallinfo2().uordblks, before + 20'000);  // what has ended takes no room
}
