#include <memory>
#include <thread>
#include <vector>

#include "AdapterContract.h"
#include "LoopDownload.h"
#include "ZRGLibRunLoop.h"

namespace {

/// A main loop that gives up after a while.
class MainLoop final {
 public:
  explicit MainLoop(guint seconds, GMainContext* context = nullptr) : loop_(g_main_loop_new(context, FALSE)) {
    limit_ = g_timeout_source_new_seconds(seconds);
    g_source_set_callback(limit_, &MainLoop::giveUp, this, nullptr);
    g_source_attach(limit_, context);
  }
  ~MainLoop() {
    g_source_destroy(limit_);
    g_source_unref(limit_);
    g_main_loop_unref(loop_);
  }
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  /// False when it gave up.
  bool run() {
    g_main_loop_run(loop_);
    return !gaveUp_;
  }
  void quit() { g_main_loop_quit(loop_); }

 private:
  static gboolean giveUp(gpointer self) {
    static_cast<MainLoop*>(self)->gaveUp_ = true;
    static_cast<MainLoop*>(self)->quit();
    return G_SOURCE_CONTINUE;
  }

  GMainLoop* const loop_;
  GSource* limit_ = nullptr;
  bool gaveUp_ = false;
};

}  // namespace

class OnMainContext final {
 public:
  ZRRunLoop& loop() { return *loop_; }
  std::shared_ptr<ZRRunLoop> share() { return loop_; }
  void drop() { loop_.reset(); }
  void quit() { running_.back()->quit(); }
  bool iterate() { return g_main_context_iteration(nullptr, FALSE) != FALSE; }
  void settle() {
    while (iterate()) {
    }
  }

  bool run() {
    MainLoop main(20);
    running_.push_back(&main);
    const bool quitted = main.run();
    running_.pop_back();
    return quitted;
  }

 private:
  std::shared_ptr<ZRGLibRunLoop> loop_ = std::make_shared<ZRGLibRunLoop>();
  std::vector<MainLoop*> running_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(GLib, RunLoopContract, OnMainContext);
INSTANTIATE_TYPED_TEST_SUITE_P(GLib, AdapterContract, OnMainContext);

class ZRGLibRunLoopTest : public LoopDownload {};

TEST_F(ZRGLibRunLoopTest, aMainLoopDownloadsAFilm) {
  MainLoop main(60);
  begin(std::make_shared<ZRGLibRunLoop>(), [&main] { main.quit(); });
  EXPECT_TRUE(main.run());
  expectFilm();
  ZRDownloadManager::shutdown();
}

TEST(ZRGLibRunLoop, belongsToTheThreadThatIteratesItsContext) {
  GMainContext* const context = g_main_context_new();
  {
    ZRGLibRunLoop loop(context);
    EXPECT_TRUE(loop.isLoopThread());
    bool ran = false;
    loop.post([&] { ran = loop.isLoopThread(); });
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    EXPECT_FALSE(ran) << "on the default context";
    std::thread([&] {
      MainLoop main(20, context);
      loop.postDelayed(std::chrono::milliseconds(1), [&main] { main.quit(); });
      EXPECT_TRUE(main.run());
    }).join();
    EXPECT_TRUE(ran);
    EXPECT_FALSE(loop.isLoopThread());
  }
  g_main_context_unref(context);
}
