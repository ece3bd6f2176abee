#include <gtest/gtest.h>

#include "ZRNotificationCenter.h"

namespace {

struct Subject final : ZRObject {
  std::string description() const override { return "subject"; }
};

class ZRNotificationCenterTest : public testing::Test {
 protected:
  /// Observes `name` by noting the word.
  ZRNotificationCenter::Token say(const char* name, const char* word) {
    return center_.addObserver(name, [this, word](const ZRNotification&) { said_ += word; });
  }

  ZRNotificationCenter center_;
  std::string said_;
};

}  // namespace

TEST_F(ZRNotificationCenterTest, callsTheObserversOfTheNameInOrderAlsoInsideAPost) {
  const auto subject = std::make_shared<Subject>();
  const auto first = center_.addObserver("added", [&](const ZRNotification& notification) {
    EXPECT_EQ(std::tuple(notification.name, notification.objectAs<Subject>()), std::tuple("added", subject));
    said_ += "(";
    center_.post("removed", nullptr);
    said_ += ")";
  });
  const auto second = say("removed", "2");
  const auto third = say("added", "3");
  center_.post("added", subject);
  center_.post("nobody", subject);
  EXPECT_EQ(said_, "(2)3");
}

TEST_F(ZRNotificationCenterTest, observersMayComeAndGoDuringAPost) {
  std::vector<ZRNotificationCenter::Token> added;
  ZRNotificationCenter::Token self;
  ZRNotificationCenter::Token later;
  self = center_.addObserver("n", [&](const ZRNotification&) {
    said_ += "s";
    self.reset();
    later.reset();
    for (int i = 0; i < 100; ++i) added.push_back(say("n", "a"));
  });
  const auto between = say("n", "b");
  later = say("n", "l");
  center_.post("n", nullptr);
  EXPECT_EQ(said_, "sb");
  added.resize(2);
  center_.post("n", nullptr);
  EXPECT_EQ(said_, "sbbaa");
}
