#include <gtest/gtest.h>

#include "ZRNotificationCenter.h"

namespace {

struct Subject final : ZRObject {
  std::string description() const override { return "subject"; }
};
struct Other final : ZRObject {
  std::string description() const override { return "other"; }
};

}  // namespace

TEST(ZRNotificationCenter, callsTheObserversOfTheNameInOrderAlsoInsideAPost) {
  ZRNotificationCenter center;
  std::string calls;
  const auto subject = std::make_shared<Subject>();
  const auto first = center.addObserver("added", [&](const ZRNotification& notification) {
    calls += "1" + notification.name;
    EXPECT_EQ(notification.objectAs<Subject>(), subject);
    EXPECT_EQ(notification.objectAs<Other>(), nullptr);
  });
  const auto second = center.addObserver("added", [&](const ZRNotification&) {
    calls += " (";
    center.post("removed", nullptr);
    calls += ")";
  });
  const auto third = center.addObserver("removed", [&](const ZRNotification&) { calls += "3"; });
  const auto fourth = center.addObserver("added", [&](const ZRNotification&) { calls += " 4"; });
  center.post("added", subject);
  center.post("nobody", subject);
  EXPECT_EQ(calls, "1added (3) 4");
}

TEST(ZRNotificationCenter, observersMayComeAndGoDuringAPost) {
  ZRNotificationCenter center;
  std::string calls;
  const auto say = [&](const char* word) { return [&calls, word](const ZRNotification&) { calls += word; }; };
  std::vector<ZRNotificationCenter::Token> added;
  ZRNotificationCenter::Token self;
  ZRNotificationCenter::Token later;
  self = center.addObserver("n", [&](const ZRNotification&) {
    calls += "s";
    self.reset();
    later.reset();
    for (int i = 0; i < 100; ++i) added.push_back(center.addObserver("n", say("a")));
  });
  const auto between = center.addObserver("n", say("b"));
  later = center.addObserver("n", say("l"));
  center.post("n", nullptr);
  EXPECT_EQ(calls, "sb");
  added.resize(2);
  center.post("n", nullptr);
  EXPECT_EQ(calls, "sbbaa");
}
