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

TEST(ZRNotificationCenter, callsTheObserversOfTheNameInOrder) {
  ZRNotificationCenter center;
  std::string calls;
  const auto subject = std::make_shared<Subject>();
  const auto first = center.addObserver("added", [&](const ZRNotification& notification) {
    calls += "1" + notification.name;
    EXPECT_EQ(notification.objectAs<Subject>(), subject);
    EXPECT_EQ(notification.objectAs<Other>(), nullptr);
  });
  const auto second = center.addObserver("added", [&](const ZRNotification&) { calls += " 2"; });
  const auto third = center.addObserver("removed", [&](const ZRNotification&) { calls += " 3"; });
  center.post("added", subject);
  center.post("nobody", subject);
  EXPECT_EQ(calls, "1added 2");
}

TEST(ZRNotificationCenter, observersMayComeAndGoDuringAPost) {
  ZRNotificationCenter center;
  std::string calls;
  std::vector<ZRNotificationCenter::Token> added;
  ZRNotificationCenter::Token self;
  ZRNotificationCenter::Token later;
  self = center.addObserver("n", [&](const ZRNotification&) {
    calls += "s";
    self.reset();
    later.reset();
    for (int i = 0; i < 100; ++i)
      added.push_back(center.addObserver("n", [&](const ZRNotification&) { calls += "a"; }));
  });
  const auto between = center.addObserver("n", [&](const ZRNotification&) { calls += "b"; });
  later = center.addObserver("n", [&](const ZRNotification&) { calls += "l"; });
  center.post("n", nullptr);
  EXPECT_EQ(calls, "sb");
  added.resize(2);
  center.post("n", nullptr);
  EXPECT_EQ(calls, "sbbaa");
}

TEST(ZRNotificationCenter, aPostMayPostAgain) {
  ZRNotificationCenter center;
  std::string calls;
  const auto outer = center.addObserver("outer", [&](const ZRNotification&) {
    calls += "(";
    center.post("inner", nullptr);
    calls += ")";
  });
  const auto inner = center.addObserver("inner", [&](const ZRNotification&) { calls += "i"; });
  center.post("outer", nullptr);
  EXPECT_EQ(calls, "(i)");
}
