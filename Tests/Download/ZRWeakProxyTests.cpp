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
  EXPECT_TRUE(proxy.isEqual(target.get()));
  EXPECT_FALSE(ZRWeakProxy<Target>(std::make_shared<Target>()).isEqual(target.get()));
  EXPECT_EQ(proxy.hash(), std::hash<std::shared_ptr<Target>>()(target));
  EXPECT_EQ(proxy.description() + "/" + proxy.debugDescription(), "target/the target");

  const Target* const address = target.get();
  target.reset();
  action();
  EXPECT_EQ(proxy.target(), nullptr);
  EXPECT_EQ(proxy.forward(&Target::add, 4), 0);
  EXPECT_FALSE(proxy.isEqual(address));
  EXPECT_EQ(proxy.description(), "");
  EXPECT_TRUE(proxy.isProxy());
}

}  // namespace
