#pragma once

#include <stdexcept>

#include "RunLoopContract.h"

/// What a loop on a toolkit owes beyond the contract of every loop. `Host` has more operations:
///
///     std::shared_ptr<ZRRunLoop> share();  // another owner of the loop
///     bool iterate();                      // one pass of the toolkit's loop without waiting: was there anything?
template <class Host>
class AdapterContract : public RunLoopContract<Host> {
 protected:
  /// Whether the toolkit comes to rest, as it must when nothing is due.
  bool isIdleSoon() {
    for (int pass = 0; pass < 50; ++pass) {
      if (!this->host_.iterate()) return true;
    }
    return false;
  }
};

TYPED_TEST_SUITE_P(AdapterContract);

TYPED_TEST_P(AdapterContract, anIdleLoopLetsTheToolkitSleep) {
  EXPECT_TRUE(this->isIdleSoon());
  this->loop().post(this->say("a"));
  EXPECT_TRUE(this->isIdleSoon()) << "work that is done keeps it awake";
  this->loop().postDelayed(std::chrono::hours(1), this->say("late"));
  this->loop().post(this->say("b"));
  EXPECT_TRUE(this->isIdleSoon()) << "a distant deadline keeps it awake";
  EXPECT_EQ(this->said_, "ab");
}

TYPED_TEST_P(AdapterContract, itsOwnWorkMayDropIt) {
  this->loop().post([this] {
    this->said_ += "a";
    this->host_.drop();
    this->host_.quit();
  });
  this->loop().post(this->say("posted"));
  this->loop().postDelayed({}, this->say("due"));
  ASSERT_TRUE(this->host_.run());
  this->host_.settle();
  EXPECT_EQ(this->said_, "a");
}

TYPED_TEST_P(AdapterContract, anotherThreadMayDropIt) {
  for (const bool duringATurn : {false, true}) {
    SCOPED_TRACE(duringATurn ? "during a turn" : "at rest");
    TypeParam host;
    const auto drop = [&host] {
      std::shared_ptr<ZRRunLoop> last = host.share();
      host.drop();
      std::thread([last = std::move(last)]() mutable { last.reset(); }).join();
    };
    if (duringATurn) {
      host.loop().post([&] {
        drop();
        host.quit();
      });
    }
    host.loop().post(this->say("posted"));
    host.loop().postDelayed({}, this->say("due"));
    if (duringATurn) {
      EXPECT_TRUE(host.run());
    } else {
      drop();
    }
    host.settle();
    EXPECT_EQ(this->said_, "");
  }
}

TYPED_TEST_P(AdapterContract, anExceptionEndsTheProcessInsteadOfCrossingTheToolkit) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  this->loop().post([] { throw std::runtime_error("thrown by work"); });
  EXPECT_DEATH(this->host_.run(), "thrown by work");
}

REGISTER_TYPED_TEST_SUITE_P(AdapterContract, anIdleLoopLetsTheToolkitSleep, itsOwnWorkMayDropIt, anotherThreadMayDropIt,
                            anExceptionEndsTheProcessInsteadOfCrossingTheToolkit);
