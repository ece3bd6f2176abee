#include <gtest/gtest.h>

#include "ZRWeakProxy.h"

namespace {

struct Target {
  int hits = 0;
  void hit() { ++hits; }
  int add(int number) { return hits + number; }
  std::string description() const { return "target"; }
  std::string debugDescription() const { return "the target"; }
};

TEST(ZRWeakProxy, forwardsWhileTheTargetLivesAndSwallowsAfter) {
  auto target = std::make_shared<Target>();
  const auto proxy = ZRWeakProxy<Target>::weakProxyWithTarget(target);
  const auto action = proxy.action(&Target::hit);
  action();
  EXPECT_EQ(proxy.forward(&Target::add, 4), 5);
  EXPECT_EQ(std::tuple(proxy.description(), proxy.debugDescription()), std::tuple("target", "the target"));

  target.reset();
  action();
  EXPECT_EQ(proxy.target(), nullptr);
  EXPECT_EQ(proxy.forward(&Target::add, 4), 0);
  EXPECT_EQ(std::tuple(proxy.description(), proxy.debugDescription()), std::tuple(std::nullopt, std::nullopt));
}

}  // namespace
