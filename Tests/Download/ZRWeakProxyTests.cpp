#include <gtest/gtest.h>

#include "ZRWeakProxy.h"

namespace {

struct Target {
  int hits = 0;
  int hit() { return ++hits; }
  void act() { ++hits; }
  std::string description() const { return "target"; }
  std::string debugDescription() const { return "the target"; }
};

TEST(ZRWeakProxy, forwardsWhileTheTargetLivesAndSwallowsAfter) {
  auto target = std::make_shared<Target>();
  const auto proxy = ZRWeakProxy<Target>::weakProxyWithTarget(target);
  const auto action = proxy.action(&Target::act);
  action();
  EXPECT_EQ(std::tuple(proxy.forward(&Target::hit), proxy.description()), std::tuple(2, "target"));
  target.reset();
  action();
  EXPECT_EQ(std::tuple(proxy.forward(&Target::hit), proxy.description()), std::tuple(0, std::nullopt));
}

}  // namespace
