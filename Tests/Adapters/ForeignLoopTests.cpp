#include <chrono>
#include <memory>
#include <string>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "LoopDownload.h"
#include "ZRDefaultRunLoop.h"

using Clock = std::chrono::steady_clock;

/// The default loop with the thread given to it.
class ThreadHost : public LoopHost {
 public:
  ThreadHost() : LoopHost(std::make_shared<ZRDefaultRunLoop>()) {}

 protected:
  ZRDefaultRunLoop& queue() { return static_cast<ZRDefaultRunLoop&>(*loop); }
  void enter() override {
    queue().runUntil([this] { return quitted_; }, Clock::now() + kLimit);
  }
};

/// A host with a poll() loop of its own that drives the default loop as its header tells.
class PollHost final : public ThreadHost {
 public:
  PollHost() {
    queue().setWakeup([wake = wake_] { eventfd_write(wake, 1); });
  }
  ~PollHost() override {
    loop.reset();
    close(wake_);
  }

 private:
  void enter() override {
    const Clock::time_point limit = Clock::now() + kLimit;
    while (!quitted_ && Clock::now() < limit) {
      pollfd fds[] = {{wake_, POLLIN, 0}};
      poll(fds, 1, queue().pollTimeout());
      eventfd_t wakeups = 0;
      eventfd_read(wake_, &wakeups);
      queue().drain();
    }
  }

  const int wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

std::unique_ptr<LoopHost> makeHost(const std::string& name) {
  if (name == "poll") return std::make_unique<PollHost>();
  return std::make_unique<ThreadHost>();
}

INSTANTIATE_TEST_SUITE_P(Default, RunLoopContract, testing::Values("thread", "poll"));
INSTANTIATE_TEST_SUITE_P(Default, LoopDownload, testing::Values("poll"));

TEST(ForeignLoop, theTimeoutIsRoundedUpAndFitsPoll) {
  ZRDefaultRunLoop loop;
  loop.postDelayed(ZRRunLoop::Duration::max(), [] {});
  EXPECT_EQ(loop.pollTimeout(), -1);
  loop.postDelayed(24h * 365 * 100, [] {});
  EXPECT_EQ(loop.pollTimeout(), 24 * 60 * 60 * 1000);
  loop.postDelayed(1h, [] {});
  const std::chrono::milliseconds timeout(loop.pollTimeout());
  EXPECT_GE(timeout, loop.timeUntilNext());
  EXPECT_LE(timeout, 1h);
}

TEST(ForeignLoop, clearDropsEverythingAndMayBeCalledBack) {
  ZRDefaultRunLoop loop;
  std::string said;
  const auto held = std::make_shared<int>(1);
  const auto postAgain = [&](const int*) { loop.post([&said] { said += "a"; }); };
  loop.post([held, &said] { said += "dropped"; });
  const auto id = loop.postDelayed({}, [held, &said] { said += "dropped"; });
  loop.postDelayed(1h, [poster = std::shared_ptr<const int>(nullptr, postAgain)] {});
  loop.clear();
  EXPECT_EQ(held.use_count(), 1);
  loop.cancel(id);
  EXPECT_EQ(loop.timeUntilNext(), 0ns) << "posted by what was dropped";
  loop.drain();
  EXPECT_EQ(said, "a");
}
