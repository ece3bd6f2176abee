#include <thread>

#include <gtest/gtest.h>

#include "ManualRunLoop.h"
#include "ZRDefaultRunLoop.h"

TEST(ZRRunLoop, mainIsADefaultLoopUntilTheHostSetsItsOwn) {
  const auto own = ManualRunLoop::install();
  EXPECT_EQ(ZRRunLoop::main(), own);
  ZRRunLoop::setMain(nullptr);
  std::shared_ptr<ZRRunLoop> seen[4];
  {
    std::vector<std::jthread> threads;
    for (auto& loop : seen) threads.emplace_back([&loop] { loop = ZRRunLoop::main(); });
  }
  EXPECT_NE(dynamic_cast<ZRDefaultRunLoop*>(seen[0].get()), nullptr);
  for (const auto& loop : seen) EXPECT_EQ(loop, ZRRunLoop::main());
}

TEST(ZRRunLoop, droppedWorkMayAskForTheMainLoop) {
  struct Asker {
    ~Asker() {
      ZRRunLoop::main()->post([] {});
    }
  };
  ManualRunLoop::install()->post([asker = std::make_shared<Asker>()] {});
  ZRRunLoop::setMain(nullptr);
  EXPECT_NE(ZRRunLoop::main(), nullptr);
}
