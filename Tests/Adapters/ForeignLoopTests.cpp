#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "LoopDownload.h"
#include "RunLoopContract.h"
#include "ZRDefaultRunLoop.h"

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

/// The default loop with the thread given to it.
class OwnThreadHost final {
 public:
  ZRRunLoop& loop() { return *loop_; }
  void drop() { loop_.reset(); }
  void settle() {}
  void quit() { quit_ = true; }

  bool run() {
    const bool quitted = loop_->runUntil([this] { return quit_; }, Clock::now() + 20s);
    quit_ = false;
    return quitted;
  }

 private:
  std::shared_ptr<ZRDefaultRunLoop> loop_ = std::make_shared<ZRDefaultRunLoop>();
  bool quit_ = false;
};

/// A host with a poll() loop of its own that drives the default loop as its header tells.
class PollHost final {
 public:
  PollHost() : wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (wake_ < 0) throw std::runtime_error("no eventfd");
    loop_->setWakeup([wake = wake_] { eventfd_write(wake, 1); });
  }
  ~PollHost() {
    loop_.reset();
    close(wake_);
  }
  PollHost(const PollHost&) = delete;
  PollHost& operator=(const PollHost&) = delete;

  ZRRunLoop& loop() { return *loop_; }
  std::shared_ptr<ZRDefaultRunLoop> share() { return loop_; }
  void drop() { loop_.reset(); }
  void settle() {}
  void quit() { quit_ = true; }

  bool run() {
    const Clock::time_point limit = Clock::now() + 20s;
    while (!quit_ && Clock::now() < limit) pass();
    return std::exchange(quit_, false);
  }

 private:
  void pass() {
    pollfd fds[] = {{wake_, POLLIN, 0}};
    poll(fds, 1, loop_->pollTimeout());
    eventfd_t wakeups = 0;
    eventfd_read(wake_, &wakeups);
    loop_->drain();
  }

  const int wake_;
  std::shared_ptr<ZRDefaultRunLoop> loop_ = std::make_shared<ZRDefaultRunLoop>();
  bool quit_ = false;
};

using DefaultLoopHosts = testing::Types<OwnThreadHost, PollHost>;
INSTANTIATE_TYPED_TEST_SUITE_P(Default, RunLoopContract, DefaultLoopHosts);

class ForeignLoopTest : public LoopDownload {};

TEST_F(ForeignLoopTest, aPollLoopDownloadsAFilm) {
  PollHost host;
  begin(host.share(), [&host] { host.quit(); });
  EXPECT_TRUE(host.run());
  expectFilm();
  ZRDownloadManager::shutdown();
  ZRRunLoop::setMain(nullptr);
}

TEST(ForeignLoop, theTimeoutTellsOfWhatMadeNoWakeup) {
  ZRDefaultRunLoop loop;
  loop.post([] {});
  EXPECT_EQ(loop.pollTimeout(), 0) << "posted before the wakeup was set";
  loop.drain();
  int wakeups = 0;
  loop.setWakeup([&] { ++wakeups; });
  loop.post([&] { loop.post([] {}); });
  loop.post([] {});
  loop.drain();
  EXPECT_EQ(wakeups, 1) << "posted while the turn had work";
  EXPECT_EQ(loop.pollTimeout(), 0);
  loop.drain();
  EXPECT_EQ(loop.pollTimeout(), -1);
}

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
  struct Poster {
    ZRDefaultRunLoop& loop;
    std::string& said;
    ~Poster() {
      loop.post([&said = said] { said += "a"; });
    }
  };
  std::string said;
  const auto held = std::make_shared<int>(1);
  loop.post([held, &said] { said += "dropped"; });
  const auto id = loop.postDelayed({}, [held, &said] { said += "dropped"; });
  loop.postDelayed(1h, [poster = std::shared_ptr<Poster>(new Poster{loop, said})] {});
  loop.clear();
  EXPECT_EQ(held.use_count(), 1);
  loop.cancel(id);
  EXPECT_EQ(loop.timeUntilNext(), 0ns) << "posted by what was dropped";
  loop.drain();
  EXPECT_EQ(said, "a");
}
